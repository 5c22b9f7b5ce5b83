// Collects every callback of the handler as a JSON event and lets the command
// code wait for the one it needs.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

namespace oscctl {

using Event = nlohmann::json;  // {"event": "...", "ip": "...", ...}
using EventMatch = std::function<bool(const Event&)>;

class EventLog {
public:
    void push(Event event);

    // Waits until an event after `cursor` matches; moves the cursor past it.
    // Returns nothing when `timeout` passes without a match.
    std::optional<Event> wait_for(const EventMatch& match, std::chrono::milliseconds timeout);

    // Like wait_for, but the timeout restarts whenever any event arrives, for
    // long operations that keep reporting (firmware updates).
    std::optional<Event> wait_while_active(const EventMatch& match,
                                           std::chrono::milliseconds idle_timeout,
                                           const std::function<void(const Event&)>& on_event);

    // Events that arrived after `from`, and the new end position.
    std::vector<Event> since(std::size_t from) const;
    std::size_t size() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<Event> events_;
    std::size_t cursor_ = 0;
};

}  // namespace oscctl
