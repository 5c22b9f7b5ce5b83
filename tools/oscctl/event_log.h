// Collects every callback of the handler as a JSON event and lets the command
// code wait for the one it needs. Each waiter keeps its own cursor, so that
// several cameras can be waited for at once.
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
    // Returns nothing when `idle_timeout` passes without a match; an event
    // that `keeps_alive` accepts restarts that time (an answer on the way).
    std::optional<Event> wait_for(std::size_t& cursor, const EventMatch& match,
                                  std::chrono::milliseconds idle_timeout,
                                  const EventMatch& keeps_alive = {});

    // Like wait_for, but every event restarts the time and is shown to
    // `on_event` first, for long operations that keep reporting (firmware
    // updates).
    std::optional<Event> wait_while_active(std::size_t& cursor, const EventMatch& match,
                                           std::chrono::milliseconds idle_timeout,
                                           const std::function<void(const Event&)>& on_event);

    // Events that arrived after `from`.
    std::vector<Event> since(std::size_t from) const;
    std::size_t size() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<Event> events_;
};

}  // namespace oscctl
