// The console's bulk runs: each started from the API with every camera's
// steps performed at once (the handler paces each camera on its own), then
// settled by the handler's events, busy steps tried again and lost results
// given up by tick().
#pragma once

#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "tools/console/bulk_run.h"

namespace osconsole {

struct CameraPlan {
    std::string ip;
    std::vector<ActionRequest> steps;
    std::string refusal;  // set: nothing is performed for this camera; it fails so
};

class RunBook {
public:
    static constexpr std::size_t kKept = 16;

    RunBook(FleetStore& store, AuditLog& audit) : store_(store), audit_(audit) {}
    RunBook(const RunBook&) = delete;
    RunBook& operator=(const RunBook&) = delete;

    // Performs every step and returns the run as it stands then.
    BulkRun start(std::string title, const std::vector<CameraPlan>& plan, const Actor& actor);
    // A subscriber of the handler session.
    void on_event(const oschost::Event& event);
    void tick(Clock::time_point now);

    // The runs changed after version `seen`; `seen` becomes the version now.
    std::vector<BulkRun> changed_since(std::uint64_t& seen) const;
    // Whether a run's last camera settled after version `seen`.
    bool settled_since(std::uint64_t seen) const;

private:
    struct Entry {
        BulkRun run;
        Actor actor;
        std::uint64_t version = 0;
    };
    struct Attempt {
        std::uint64_t run;
        std::size_t camera;
        std::size_t step;
        std::string ip;
        ActionRequest request;
        Actor actor;
        ActionOutcome outcome;
    };
    Entry* find(std::uint64_t id);
    // Gives the run a new version; notes when nothing of it is pending any more.
    void bump(Entry& entry);
    // Performs without the lock, then notes every outcome under it.
    void perform(std::vector<Attempt>& attempts);

    FleetStore& store_;
    AuditLog& audit_;
    // Guards runs_ and the counters; held for bookkeeping only, never while
    // the handler is called.
    mutable std::mutex mutex_;
    std::deque<Entry> runs_;
    std::uint64_t next_id_ = 0;
    std::uint64_t version_ = 0;
    std::uint64_t settled_ = 0;  // the version at which a run last settled
};

}  // namespace osconsole
