#include "tools/console/fleet_operations.h"

#include "tools/console/event_stream.h"
#include "tools/console/fleet_view.h"

namespace osconsole {

FleetOperations::FleetOperations(FleetStore& store, AuditLog& audit, RolloutLimits limits,
                                 std::uint64_t max_upload_bytes)
    : audit_(audit),
      max_upload_bytes_(max_upload_bytes),
      runs_(store, audit),
      rollout_(store, audit, limits, [this] { wake(); }),
      thread_([this] { run(); }) {}

FleetOperations::~FleetOperations() {
    stop();
}

void FleetOperations::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void FleetOperations::wake() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        woken_ = true;
    }
    wake_.notify_all();
}

void FleetOperations::on_event(const oschost::Event& event) {
    runs_.on_event(event);
    rollout_.on_event(event);
}

void FleetOperations::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        wake_.wait_for(lock, kTick, [this] { return stopping_ || woken_; });
        if (stopping_) return;
        woken_ = false;
        lock.unlock();
        const auto now = Clock::now();
        runs_.tick(now);
        rollout_.tick(now);
        lock.lock();
    }
}

std::string FleetOperations::frames(OperationsCursor& cursor) const {
    std::string out;
    for (const BulkRun& run : runs_.changed_since(cursor.runs))
        out += sse_frame("run", dump(run_json(run)));
    if (const auto rollout = rollout_.changed_since(cursor.rollout))
        out += sse_frame("rollout", dump(rollout_json(*rollout)));
    return out;
}

}  // namespace osconsole
