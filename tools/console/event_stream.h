// The body of one server-sent event stream: the whole fleet first, then, at
// most every kCoalesce, each camera that changed, once, with its latest
// state, the fleet's counts and order when they changed, and the bulk runs
// and rollout that changed. A browser that reads slowly only makes the
// batches larger; nothing queues up for it, and the events are framed
// outside the store's lock.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/console/fleet_operations.h"
#include "tools/console/fleet_store.h"

namespace osconsole {

class EventStream {
public:
    static constexpr auto kCoalesce = std::chrono::milliseconds(150);
    static constexpr auto kKeepAlive = std::chrono::seconds(15);

    // `operations` may be null (a console without bulk runs, in tests).
    EventStream(const FleetStore& store, const FleetOperations* operations)
        : store_(store), operations_(operations) {}

    // The next chunk to send; nothing once the store has closed.
    std::optional<std::string> next();

private:
    std::string frames();

    const FleetStore& store_;
    const FleetOperations* operations_;
    std::uint64_t seen_ = 0;
    OperationsCursor operations_seen_;
    std::string fleet_sent_;  // the last "fleet" event's data
    bool started_ = false;
};

// "event: NAME\ndata: DATA\n\n".
std::string sse_frame(const char* event, const std::string& data);

}  // namespace osconsole
