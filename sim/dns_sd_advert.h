// Announces one simulated camera as a DNS-SD service (_osc._tcp), so that the
// client's discovery can find it. Needs a running mDNS daemon.
#pragma once

#include <string>

namespace oscsim {

class DnsSdAdvert {
public:
    DnsSdAdvert() = default;
    ~DnsSdAdvert();
    DnsSdAdvert(const DnsSdAdvert&) = delete;
    DnsSdAdvert& operator=(const DnsSdAdvert&) = delete;

    // Registers the service on the loopback interface under this machine's
    // host name with a TXT record "model"; true once the daemon confirmed the
    // name (within about 3 s).
    bool start(const std::string& instance_name, int port, const std::string& model);
    void stop();

private:
    void* service_ = nullptr;  // DNSServiceRef, kept out of this header
};

}  // namespace oscsim
