// One Init/Destroy of the handler, with every callback feeding a FleetState.
// The handler keeps a single instance per process, so there is one link.
#pragma once

#include <functional>
#include <string>

#include "tools/console/fleet_state.h"

namespace osconsole {

struct HandlerHooks {
    // A screenshot is ready at the address the camera named.
    std::function<void(const std::string& ip, const std::string& address)> screenshot_ready;
    // Camera list after a discovery result: "ip:port;" for each camera.
    std::function<void(const std::string& list)> device_list;
    bool echo_log = false;  // also write the handler's log lines to stderr
};

class HandlerLink {
public:
    HandlerLink(const std::string& client_dir, FleetState& state, HandlerHooks hooks);
    // Stops every camera worker; skip it with release() when a worker is in
    // its long pause after a reboot and the process ends anyway.
    ~HandlerLink();
    HandlerLink(const HandlerLink&) = delete;
    HandlerLink& operator=(const HandlerLink&) = delete;

    // Leaves the handler running; the process is about to end.
    void release() { released_ = true; }

private:
    bool released_ = false;
};

}  // namespace osconsole
