#include "tools/console/rollout_runner.h"

#include <filesystem>

#include "tools/console/operation_results.h"

namespace osconsole {

RolloutRunner::RolloutRunner(FleetStore& store, AuditLog& audit, RolloutLimits limits,
                             std::function<void()> wake)
    : store_(store), audit_(audit), limits_(limits), wake_(std::move(wake)) {}

bool RolloutRunner::active() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return active_locked();
}

void RolloutRunner::changed_locked() {
    ++version_;
}

std::optional<ActionOutcome> RolloutRunner::start(std::unique_ptr<FirmwareUpload> upload,
                                                  const std::vector<std::string>& cameras,
                                                  const Actor& actor) {
    if (cameras.empty()) return ActionOutcome{400, "select the cameras to update first", ""};
    const FirmwareFiles files = upload->files();
    std::vector<std::string> names;
    for (const std::string& path : files.ast1230)
        names.push_back(std::filesystem::path(path).filename().string());
    if (!files.ast1220.empty())
        names.insert(names.begin(), std::filesystem::path(files.ast1220).filename().string());
    ActionRequest request{"firmware", files};
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (active_locked())
            return ActionOutcome{409, "a rollout is running; stop it or wait for its end", ""};
        rollout_.emplace(Rollout{RolloutSchedule(cameras, limits_), std::move(upload), request,
                                 operation_of(request), actor, std::move(names), Moment::now().wall,
                                 0});
        changed_locked();
    }
    wake_();
    return std::nullopt;
}

void RolloutRunner::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!active_locked()) return;
        rollout_->schedule.stop("stopped by the operator");
        changed_locked();
    }
    wake_();
}

void RolloutRunner::on_event(const oschost::Event& event) {
    const std::string& ip = oschost::camera_of(event);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!active_locked() || !rollout_->schedule.running(ip)) return;
        const auto settled = settles(rollout_->operation, event);
        if (!settled) return;
        rollout_->schedule.finish(ip, settled->ok, settled->message);
        changed_locked();
    }
    wake_();
}

void RolloutRunner::tick(Clock::time_point now) {
    bool changed = false;
    for (;;) {
        std::vector<std::string> starts;
        ActionRequest request;
        Actor actor;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (!active_locked()) break;
            RolloutSchedule& schedule = rollout_->schedule;
            schedule.expire(now);
            starts = schedule.take_starts(now);
            if (starts.empty()) {
                if (schedule.over()) {
                    rollout_->ended = Moment::now().wall;
                    rollout_->upload.reset();
                    changed_locked();
                    changed = true;
                }
                break;
            }
            changed_locked();
            changed = true;
            request = rollout_->request;
            actor = rollout_->actor;
        }
        for (const std::string& ip : starts) {
            const ActionOutcome outcome = run_action(store_, audit_, ip, request, actor);
            if (outcome.queued()) continue;
            std::lock_guard<std::mutex> lock(mutex_);
            if (active_locked()) rollout_->schedule.finish(ip, false, outcome.message);
        }
    }
    if (changed) store_.touch();
}

std::optional<RolloutView> RolloutRunner::changed_since(std::uint64_t& seen) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!rollout_ || version_ <= seen) return std::nullopt;
    seen = version_;
    const Rollout& r = *rollout_;
    return RolloutView{r.schedule.limits(),
                       active_locked(),
                       r.schedule.stop_reason(),
                       r.file_names,
                       r.schedule.cameras(),
                       r.started,
                       r.ended};
}

}  // namespace osconsole
