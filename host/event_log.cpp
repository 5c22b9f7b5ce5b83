#include "event_log.h"

namespace oschost {

void EventLog::record(const Event& event) {
    // What a log line tells comes as events of its own; the lines would only
    // make the log longer.
    if (std::holds_alternative<LogLine>(event)) return;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(event);
    }
    arrived_.notify_all();
}

std::optional<Event> EventLog::wait_for(std::size_t& cursor, const EventMatch& match,
                                        std::chrono::milliseconds silence,
                                        const EventMatch& keeps_alive) {
    auto deadline = std::chrono::steady_clock::now() + silence;
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        for (; cursor < events_.size(); ++cursor) {
            const Event& event = events_[cursor];
            if (match(event)) return events_[cursor++];
            if (keeps_alive && keeps_alive(event))
                deadline = std::chrono::steady_clock::now() + silence;
        }
        if (arrived_.wait_until(lock, deadline) == std::cv_status::timeout &&
            cursor == events_.size())
            return std::nullopt;
    }
}

std::optional<Event> EventLog::wait_while_active(
    std::size_t& cursor, const EventMatch& match, std::chrono::milliseconds silence,
    const std::function<void(const Event&)>& on_event) {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        while (cursor < events_.size()) {
            Event event = events_[cursor++];
            lock.unlock();
            on_event(event);
            if (match(event)) return event;
            lock.lock();
        }
        if (!arrived_.wait_for(lock, silence, [&] { return cursor < events_.size(); }))
            return std::nullopt;
    }
}

std::vector<Event> EventLog::since(std::size_t from) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (from >= events_.size()) return {};
    return {events_.begin() + static_cast<std::ptrdiff_t>(from), events_.end()};
}

std::size_t EventLog::size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return events_.size();
}

}  // namespace oschost
