// The body of one server-sent event stream: the whole fleet first, then each
// camera whose row changed in what the page shows, once, with its latest
// state, the fleet's counts and order when they changed, and the bulk runs
// and rollout that changed. A change after a quiet spell goes out at once;
// the changes of a burst wait for the end of the window that follows a batch
// and go out together, unless a bulk run's last camera settles. A browser
// that reads slowly only makes the batches larger; nothing queues up for it,
// and the events are framed outside the store's lock.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

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
    // Until the window after the last batch ends or a bulk run settles.
    void hold() const;

    const FleetStore& store_;
    const FleetOperations* operations_;
    std::uint64_t seen_ = 0;
    OperationsCursor operations_seen_;
    std::string fleet_sent_;  // the last "fleet" event's data
    // What the page shows of each camera, as this stream last sent it.
    std::unordered_map<std::string, std::string> rows_sent_;
    Clock::time_point last_batch_{};
    bool started_ = false;
};

// "event: NAME\ndata: DATA\n\n".
std::string sse_frame(const char* event, const std::string& data);

}  // namespace osconsole
