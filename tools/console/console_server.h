// The console's HTTP side: the page, a small JSON API, the event stream and
// the metrics, every request first passing the access policy; over HTTPS
// when given a certificate.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/console/access_policy.h"
#include "tools/console/audit_log.h"
#include "tools/console/fleet_operations.h"
#include "tools/console/fleet_store.h"

namespace osconsole {

// PEM files of the server's certificate (chain) and its private key.
struct TlsFiles {
    std::string certificate;
    std::string key;
};

class ConsoleServer {
public:
    // Without `operations` there are no bulk actions and no rollout. Throws
    // std::runtime_error when the certificate or key cannot be used.
    ConsoleServer(FleetStore& store, const AccessPolicy& policy, AuditLog& audit,
                  FleetOperations* operations = nullptr,
                  const std::optional<TlsFiles>& tls = std::nullopt);
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
