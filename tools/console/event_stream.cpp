#include "tools/console/event_stream.h"

#include <algorithm>

#include "tools/console/fleet_view.h"

namespace osconsole {

namespace {

std::chrono::milliseconds until(Clock::time_point end) {
    return std::max(std::chrono::milliseconds(0),
                    std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()));
}

}  // namespace

std::string sse_frame(const char* event, const std::string& data) {
    return std::string("event: ") + event + "\ndata: " + data + "\n\n";
}

std::string EventStream::frames() {
    last_batch_ = Clock::now();
    const Changes changes = store_.changes_since(seen_);
    seen_ = changes.seq;
    const WallMs now = Moment::now().wall;
    std::string out;
    bool rows = false;
    for (const CameraCopy& camera : changes.cameras) {
        const nlohmann::json row = row_json(camera, now);
        std::string shown = dump(shown_of_row(row));
        std::string& sent = rows_sent_[camera.state.address.ip];
        if (shown == sent) continue;
        sent = std::move(shown);
        out += sse_frame("row", dump(row));
        rows = true;
    }
    if (rows || !started_) {
        std::string fleet = dump(summary_json(summarize(store_.overview(now))));
        if (fleet != fleet_sent_) out += sse_frame("fleet", fleet);
        fleet_sent_ = std::move(fleet);
    }
    if (!changes.fleet_log.empty())
        out += sse_frame("log", dump(nlohmann::json(changes.fleet_log)));
    if (operations_) out += operations_->frames(operations_seen_);
    return out;
}

void EventStream::hold() const {
    const Clock::time_point end = last_batch_ + kCoalesce;
    for (;;) {
        // Read before the check: a run settling after it wakes the wait.
        const std::uint64_t shown = store_.shown_seq();
        if (Clock::now() >= end ||
            (operations_ && operations_->run_settled_since(operations_seen_)))
            return;
        if (!store_.wait_for_change(shown, until(end))) return;
    }
}

std::optional<std::string> EventStream::next() {
    if (!started_) {
        // How long the browser waits before it reconnects after a drop.
        std::string first = "retry: 2000\n\n" + frames();
        started_ = true;
        return first;
    }
    const Clock::time_point quiet_end = Clock::now() + kKeepAlive;
    for (;;) {
        if (!store_.wait_for_change(seen_, until(quiet_end))) return std::nullopt;
        if (store_.shown_seq() > seen_) {
            hold();
            std::string events = frames();
            if (!events.empty()) return events;
        }
        // A comment line keeps proxies from closing a quiet stream and shows
        // whether the browser is still there.
        if (Clock::now() >= quiet_end) return std::string(": keep-alive\n\n");
    }
}

}  // namespace osconsole
