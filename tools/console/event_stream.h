// The body of one server-sent event stream: the whole fleet first, then, at
// most every kCoalesce, each camera that changed, once, with its latest
// state. A browser that reads slowly only makes the batches larger; nothing
// queues up for it, and the events are framed outside the store's lock.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/console/fleet_store.h"

namespace osconsole {

class EventStream {
public:
    static constexpr auto kCoalesce = std::chrono::milliseconds(100);
    static constexpr auto kKeepAlive = std::chrono::seconds(15);

    explicit EventStream(const FleetStore& store) : store_(store) {}

    // The next chunk to send; nothing once the store has closed.
    std::optional<std::string> next();

private:
    std::string frames();

    const FleetStore& store_;
    std::uint64_t seen_ = 0;
    bool started_ = false;
};

}  // namespace osconsole
