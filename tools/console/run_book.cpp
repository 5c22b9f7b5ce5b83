#include "tools/console/run_book.h"

namespace osconsole {

RunBook::Entry* RunBook::find(std::uint64_t id) {
    for (Entry& entry : runs_)
        if (entry.run.id == id) return &entry;
    return nullptr;
}

void RunBook::bump(Entry& entry) {
    entry.version = ++version_;
    if (count(entry.run).pending == 0) settled_ = entry.version;
}

void RunBook::perform(std::vector<Attempt>& attempts) {
    for (Attempt& a : attempts) a.outcome = run_action(store_, audit_, a.ip, a.request, a.actor);
    const auto now = Clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    for (const Attempt& a : attempts) {
        if (Entry* entry = find(a.run)) {
            note_outcome(entry->run.cameras[a.camera].steps[a.step], a.outcome, now);
            bump(*entry);
        }
    }
}

BulkRun RunBook::start(std::string title, const std::vector<CameraPlan>& plan, const Actor& actor) {
    const auto now = Clock::now();
    std::vector<Attempt> attempts;
    std::uint64_t id = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        Entry entry{{++next_id_, std::move(title), Moment::now().wall, {}}, actor, ++version_};
        id = entry.run.id;
        for (const CameraPlan& camera : plan) {
            RunCamera& run_camera = entry.run.cameras.emplace_back(RunCamera{camera.ip, {}});
            for (const ActionRequest& request : camera.steps) {
                RunStep& step = run_camera.steps.emplace_back();
                step.request = request;
                if (!camera.refusal.empty()) {
                    step.state = StepState::Failed;
                    step.message = camera.refusal;
                    continue;
                }
                // Marked before it is performed: its result may come at once.
                mark_started(step, now);
                attempts.push_back({id,
                                    entry.run.cameras.size() - 1,
                                    run_camera.steps.size() - 1,
                                    camera.ip,
                                    request,
                                    actor,
                                    {}});
            }
        }
        runs_.push_back(std::move(entry));
        while (runs_.size() > kKept) runs_.pop_front();
    }
    perform(attempts);
    store_.touch();
    std::lock_guard<std::mutex> lock(mutex_);
    const Entry* entry = find(id);
    return entry ? entry->run : BulkRun{};
}

void RunBook::on_event(const oschost::Event& event) {
    const std::string& ip = oschost::camera_of(event);
    if (ip.empty()) return;
    bool changed = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (Entry& entry : runs_) {
            const EventUse use = note_event(entry.run, ip, event);
            if (use == EventUse::None) continue;
            bump(entry);
            changed = true;
            if (use == EventUse::UsedUp) break;
        }
    }
    if (changed) store_.touch();
}

void RunBook::tick(Clock::time_point now) {
    std::vector<Attempt> attempts;
    bool changed = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (Entry& entry : runs_) {
            if (expire(entry.run, now)) {
                bump(entry);
                changed = true;
            }
            for (const auto& [c, s] : due_retries(entry.run, now)) {
                RunStep& step = entry.run.cameras[c].steps[s];
                mark_started(step, now);
                attempts.push_back(
                    {entry.run.id, c, s, entry.run.cameras[c].ip, step.request, entry.actor, {}});
            }
        }
    }
    if (!attempts.empty()) perform(attempts);
    if (changed || !attempts.empty()) store_.touch();
}

std::vector<BulkRun> RunBook::changed_since(std::uint64_t& seen) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<BulkRun> runs;
    for (const Entry& entry : runs_)
        if (entry.version > seen) runs.push_back(entry.run);
    seen = version_;
    return runs;
}

bool RunBook::settled_since(std::uint64_t seen) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return settled_ > seen;
}

}  // namespace osconsole
