#include "tools/console/event_stream.h"

#include <thread>

#include "tools/console/fleet_view.h"

namespace osconsole {

std::string sse_frame(const char* event, const std::string& data) {
    return std::string("event: ") + event + "\ndata: " + data + "\n\n";
}

std::string EventStream::frames() {
    const Changes changes = store_.changes_since(seen_);
    seen_ = changes.seq;
    const WallMs now = Moment::now().wall;
    std::string out;
    for (const CameraCopy& camera : changes.cameras)
        out += sse_frame("row", dump(row_json(camera, now)));
    if (!changes.cameras.empty() || !started_) {
        std::string fleet = dump(summary_json(summarize(store_.overview(now))));
        if (fleet != fleet_sent_) out += sse_frame("fleet", fleet);
        fleet_sent_ = std::move(fleet);
    }
    if (!changes.fleet_log.empty())
        out += sse_frame("log", dump(nlohmann::json(changes.fleet_log)));
    if (operations_) out += operations_->frames(operations_seen_);
    return out;
}

std::optional<std::string> EventStream::next() {
    if (!started_) {
        // How long the browser waits before it reconnects after a drop.
        std::string first = "retry: 2000\n\n" + frames();
        started_ = true;
        return first;
    }
    if (!store_.wait_for_change(seen_, kKeepAlive)) return std::nullopt;
    // A burst of callbacks goes out as one batch.
    std::this_thread::sleep_for(kCoalesce);
    std::string events = frames();
    // A comment line keeps proxies from closing a quiet stream and shows
    // whether the browser is still there.
    if (events.empty()) return std::string(": keep-alive\n\n");
    return events;
}

}  // namespace osconsole
