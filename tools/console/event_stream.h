// The body of one server-sent event stream: the whole fleet first, then, at
// most every kCoalesce, each camera that changed, once, with its latest
// state. A browser that reads slowly only makes the batches larger; nothing
// queues up for it.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/console/fleet_state.h"

namespace osconsole {

class EventStream {
public:
    static constexpr auto kCoalesce = std::chrono::milliseconds(100);
    static constexpr auto kKeepAlive = std::chrono::seconds(15);

    explicit EventStream(const FleetState& state) : state_(state) {}

    // The next chunk to send; nothing once the fleet state has closed.
    std::optional<std::string> next();

private:
    const FleetState& state_;
    StreamCursor cursor_;
    bool started_ = false;
};

}  // namespace osconsole
