// Every event of a session but the raw log lines, kept in order, for hosts
// that call an operation and then wait for what answers it. Each waiter keeps
// its own cursor, so several cameras can be waited for at once.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "session.h"

namespace oschost {

using EventMatch = std::function<bool(const Event&)>;

class EventLog {
public:
    void record(const Event& event);
    // A subscriber that records into this log.
    Subscriber recorder() {
        return [this](const Event& event) { record(event); };
    }

    // Waits until an event after `cursor` matches and moves the cursor past
    // it. Nothing when `silence` passes without a match; an event that
    // `keeps_alive` accepts starts that time again.
    std::optional<Event> wait_for(std::size_t& cursor, const EventMatch& match,
                                  std::chrono::milliseconds silence,
                                  const EventMatch& keeps_alive = {});
    // Like wait_for, but every event starts the time again and is shown to
    // `on_event` first, outside the log's lock (for operations that keep
    // reporting, such as firmware updates).
    std::optional<Event> wait_while_active(std::size_t& cursor, const EventMatch& match,
                                           std::chrono::milliseconds silence,
                                           const std::function<void(const Event&)>& on_event);

    std::vector<Event> since(std::size_t from) const;
    std::size_t size() const;

private:
    // Guards events_; waiters sleep on arrived_.
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<Event> events_;
};

}  // namespace oschost
