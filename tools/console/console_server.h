// The console's HTTP side: the page, a small JSON API and the event stream,
// every request first passing the access policy.
#pragma once

#include <memory>
#include <string>

#include "tools/console/access_policy.h"
#include "tools/console/fleet_operations.h"
#include "tools/console/fleet_store.h"

namespace osconsole {

class ConsoleServer {
public:
    // Without `operations` there are no bulk actions and no rollout.
    ConsoleServer(FleetStore& store, const AccessPolicy& policy,
                  FleetOperations* operations = nullptr);
    ~ConsoleServer();
    ConsoleServer(const ConsoleServer&) = delete;
    ConsoleServer& operator=(const ConsoleServer&) = delete;

    // Binds host:port (port 0 picks a free one) and serves on a thread of
    // its own; the bound port, or -1 when the address cannot be bound.
    int start(const std::string& host, int port);
    // Ends every event stream and the server and waits for them.
    void stop();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace osconsole
