#include "tools/console/event_stream.h"

#include <thread>

#include "tools/console/fleet_view.h"

namespace osconsole {

namespace {

std::string frame(const char* event, const std::string& data) {
    return std::string("event: ") + event + "\ndata: " + data + "\n\n";
}

}  // namespace

std::string EventStream::frames() {
    const Changes changes = store_.changes_since(seen_);
    seen_ = changes.seq;
    std::string out;
    for (const CameraCopy& camera : changes.cameras) {
        out += frame("card", dump(card_json(camera)));
        if (camera.params_changed && camera.state.params)
            // The handler's document is JSON already.
            out += frame("params", "{\"ip\":" + dump(camera.state.address.ip) +
                                       ",\"doc\":" + camera.state.params->text + "}");
    }
    if (!changes.fleet_log.empty()) out += frame("log", dump(nlohmann::json(changes.fleet_log)));
    return out;
}

std::optional<std::string> EventStream::next() {
    if (!started_) {
        started_ = true;
        // How long the browser waits before it reconnects after a drop.
        return "retry: 2000\n\n" + frames();
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
