// One firmware rollout at a time: its uploaded files, its schedule, and the
// handler calls for the cameras the schedule starts (made from tick(), on
// the operations thread, never under the runner's lock). The files are
// removed as soon as the rollout is over, or with the runner.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/console/firmware_upload.h"
#include "tools/console/rollout_schedule.h"

namespace osconsole {

struct RolloutView {
    RolloutLimits limits;
    bool active = false;
    std::string stop_reason;
    std::vector<std::string> files;  // names as stored
    std::vector<RolloutCamera> cameras;
    WallMs started = 0;
    WallMs ended = 0;
};

class RolloutRunner {
public:
    // `wake` asks the operations thread for a tick soon.
    RolloutRunner(FleetStore& store, AuditLog& audit, RolloutLimits limits,
                  std::function<void()> wake);
    RolloutRunner(const RolloutRunner&) = delete;
    RolloutRunner& operator=(const RolloutRunner&) = delete;

    const RolloutLimits& limits() const { return limits_; }
    bool active() const;
    // Takes the upload's files over and starts, or refuses (409 while a
    // rollout runs, 400 without cameras).
    std::optional<ActionOutcome> start(std::unique_ptr<FirmwareUpload> upload,
                                       const std::vector<std::string>& cameras, const Actor& actor);
    void stop();
    // A subscriber of the handler session.
    void on_event(const oschost::Event& event);
    void tick(Clock::time_point now);

    // The rollout if it changed after version `seen`; `seen` becomes the version now.
    std::optional<RolloutView> changed_since(std::uint64_t& seen) const;

private:
    struct Rollout {
        RolloutSchedule schedule;
        std::unique_ptr<FirmwareUpload> upload;  // reset once over: the files go
        ActionRequest request;
        std::string operation;
        Actor actor;
        std::vector<std::string> file_names;
        WallMs started = 0;
        WallMs ended = 0;
    };
    bool active_locked() const { return rollout_ && rollout_->ended == 0; }
    void changed_locked();

    FleetStore& store_;
    AuditLog& audit_;
    const RolloutLimits limits_;
    const std::function<void()> wake_;
    // Guards rollout_ and version_; never held while the handler is called.
    mutable std::mutex mutex_;
    std::optional<Rollout> rollout_;
    std::uint64_t version_ = 0;
};

}  // namespace osconsole
