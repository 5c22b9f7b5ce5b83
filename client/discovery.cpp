#include "client/discovery.h"

#include <arpa/inet.h>
#include <dns_sd.h>
#include <netdb.h>
#include <sys/select.h>

#include <cstring>
#include <list>

namespace oscclient {

namespace {

struct Resolve {
    DNSServiceRef ref = nullptr;
    std::string name;
    bool done = false;
    const DnsSdBrowser::OnEntry* on_entry = nullptr;
};

struct BrowseState {
    std::list<Resolve> resolves;
    const DnsSdBrowser::OnEntry* on_entry = nullptr;
};

std::string ipv4_of(const char* host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    addrinfo* found = nullptr;
    if (getaddrinfo(host, nullptr, &hints, &found) != 0 || !found) return "";
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(found->ai_addr)->sin_addr, text,
              sizeof text);
    freeaddrinfo(found);
    return text;
}

void DNSSD_API on_resolved(DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType error,
                           const char*, const char* host, uint16_t port, uint16_t txt_len,
                           const unsigned char* txt, void* context) {
    auto* r = static_cast<Resolve*>(context);
    r->done = true;
    if (error != kDNSServiceErr_NoError) return;
    uint8_t len = 0;
    const void* value = TXTRecordGetValuePtr(txt_len, txt, "model", &len);
    const std::string model = value ? std::string(static_cast<const char*>(value), len) : "";
    const std::string ip = ipv4_of(host);
    if (!ip.empty()) (*r->on_entry)(discovery_entry(r->name, model, ip, ntohs(port)));
}

void DNSSD_API on_browsed(DNSServiceRef, DNSServiceFlags flags, uint32_t interface,
                          DNSServiceErrorType error, const char* name, const char* type,
                          const char* domain, void* context) {
    if (error != kDNSServiceErr_NoError || !(flags & kDNSServiceFlagsAdd)) return;
    auto* state = static_cast<BrowseState*>(context);
    Resolve& r = state->resolves.emplace_back();
    r.name = name;
    r.on_entry = state->on_entry;
    if (DNSServiceResolve(&r.ref, 0, interface, name, type, domain, on_resolved, &r) !=
        kDNSServiceErr_NoError) {
        r.ref = nullptr;
        r.done = true;
    }
}

}  // namespace

std::string discovery_entry(const std::string& name, const std::string& model,
                            const std::string& ip, int port) {
    // Commas would shift the fields the handler reads from the end.
    auto clean = [](std::string s) {
        for (char& c : s) {
            if (c == ',') c = ' ';
        }
        return s;
    };
    return clean(name) + "," + clean(model) + "," + ip + "," + std::to_string(port);
}

DnsSdBrowser::~DnsSdBrowser() {
    stop();
}

void DnsSdBrowser::start(std::chrono::seconds window, OnEntry on_entry) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (running_) return;
    if (thread_.joinable()) thread_.join();
    stop_ = false;
    running_ = true;
    thread_ = std::thread([this, window, on_entry = std::move(on_entry)] {
        browse(window, on_entry);
        running_ = false;
    });
}

void DnsSdBrowser::stop() {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
    if (thread_.joinable()) thread_.join();
}

void DnsSdBrowser::browse(std::chrono::seconds window, const OnEntry& on_entry) {
    BrowseState state;
    state.on_entry = &on_entry;
    DNSServiceRef browser = nullptr;
    if (DNSServiceBrowse(&browser, 0, 0, "_osc._tcp", nullptr, on_browsed, &state) !=
        kDNSServiceErr_NoError)
        return;  // no DNS-SD daemon: only the static list applies
    const auto deadline = std::chrono::steady_clock::now() + window;
    while (!stop_ && std::chrono::steady_clock::now() < deadline) {
        fd_set readable;
        FD_ZERO(&readable);
        int top = DNSServiceRefSockFD(browser);
        FD_SET(top, &readable);
        for (const Resolve& r : state.resolves) {
            if (r.done || !r.ref) continue;
            const int fd = DNSServiceRefSockFD(r.ref);
            FD_SET(fd, &readable);
            top = std::max(top, fd);
        }
        timeval tick{0, 100000};  // wake up to notice stop requests
        if (select(top + 1, &readable, nullptr, nullptr, &tick) <= 0) continue;
        if (FD_ISSET(DNSServiceRefSockFD(browser), &readable)) DNSServiceProcessResult(browser);
        for (Resolve& r : state.resolves) {
            if (!r.done && r.ref && FD_ISSET(DNSServiceRefSockFD(r.ref), &readable))
                DNSServiceProcessResult(r.ref);
        }
    }
    for (Resolve& r : state.resolves) {
        if (r.ref) DNSServiceRefDeallocate(r.ref);
    }
    DNSServiceRefDeallocate(browser);
}

}  // namespace oscclient
