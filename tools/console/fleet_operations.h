// The console's work on many cameras at once: bulk runs and the firmware
// rollout, fed by the handler's events, and the one thread that tries busy
// steps again, gives up lost results and starts the rollout's next cameras.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "tools/console/rollout_runner.h"
#include "tools/console/run_book.h"

namespace osconsole {

// What one event stream has sent of the operations so far.
struct OperationsCursor {
    std::uint64_t runs = 0;
    std::uint64_t rollout = 0;
};

class FleetOperations {
public:
    static constexpr auto kTick = std::chrono::milliseconds(250);

    FleetOperations(FleetStore& store, AuditLog& audit, RolloutLimits limits,
                    std::uint64_t max_upload_bytes);
    ~FleetOperations();
    FleetOperations(const FleetOperations&) = delete;
    FleetOperations& operator=(const FleetOperations&) = delete;

    RunBook& runs() { return runs_; }
    RolloutRunner& rollout() { return rollout_; }
    AuditLog& audit() { return audit_; }
    std::uint64_t max_upload_bytes() const { return max_upload_bytes_; }

    // A subscriber of the handler session.
    void on_event(const oschost::Event& event);
    // Server-sent events for what changed since the cursor ("run", "rollout").
    std::string frames(OperationsCursor& cursor) const;
    // Whether a bulk run's last camera settled after the cursor.
    bool run_settled_since(const OperationsCursor& cursor) const {
        return runs_.settled_since(cursor.runs);
    }
    void stop();

private:
    void run();
    void wake();

    AuditLog& audit_;
    const std::uint64_t max_upload_bytes_;
    RunBook runs_;
    RolloutRunner rollout_;
    // Guards the two flags; the thread waits on it between ticks.
    std::mutex mutex_;
    std::condition_variable wake_;
    bool woken_ = false;
    bool stopping_ = false;
    std::thread thread_;  // ticks runs_ and rollout_
};

}  // namespace osconsole
