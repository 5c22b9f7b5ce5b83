#include "tools/oscctl/event_log.h"

namespace oscctl {

void EventLog::push(Event event) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(std::move(event));
    }
    arrived_.notify_all();
}

std::optional<Event> EventLog::wait_for(const EventMatch& match,
                                        std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        for (; cursor_ < events_.size(); ++cursor_) {
            if (match(events_[cursor_])) return events_[cursor_++];
        }
        if (arrived_.wait_until(lock, deadline) == std::cv_status::timeout &&
            cursor_ == events_.size()) {
            return std::nullopt;
        }
    }
}

std::optional<Event> EventLog::wait_while_active(
    const EventMatch& match, std::chrono::milliseconds idle_timeout,
    const std::function<void(const Event&)>& on_event) {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        while (cursor_ < events_.size()) {
            Event event = events_[cursor_++];
            // The observer may print; do it without holding the lock.
            lock.unlock();
            on_event(event);
            if (match(event)) return event;
            lock.lock();
        }
        if (!arrived_.wait_for(lock, idle_timeout, [this] { return cursor_ < events_.size(); })) {
            return std::nullopt;
        }
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

}  // namespace oscctl
