#include "tools/console/event_stream.h"

#include <thread>

namespace osconsole {

std::optional<std::string> EventStream::next() {
    if (!started_) {
        started_ = true;
        // How long the browser waits before it reconnects after a drop.
        return "retry: 2000\n\n" + state_.events_since(cursor_);
    }
    if (!state_.wait_for_change(cursor_, kKeepAlive)) return std::nullopt;
    // A burst of callbacks goes out as one batch.
    std::this_thread::sleep_for(kCoalesce);
    std::string events = state_.events_since(cursor_);
    // A comment line keeps proxies from closing a quiet stream and shows
    // whether the browser is still there.
    if (events.empty()) return std::string(": keep-alive\n\n");
    return events;
}

}  // namespace osconsole
