// Camera discovery: DNS-SD browsing for "_osc._tcp" services, and the static
// camera list for networks without multicast. Each camera found becomes an
// entry "name,model,ip,port".
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace oscclient {

std::string discovery_entry(const std::string& name, const std::string& model,
                            const std::string& ip, int port);

class DnsSdBrowser {
public:
    using OnEntry = std::function<void(const std::string& entry)>;

    ~DnsSdBrowser();
    // Browses for `window` on a thread of its own; a browse already running
    // is left alone.
    void start(std::chrono::seconds window, OnEntry on_entry);
    void stop();

private:
    void browse(std::chrono::seconds window, const OnEntry& on_entry);

    std::mutex mutex_;
    std::thread thread_;
    std::atomic<bool> running_{false};
    std::atomic<bool> stop_{false};
};

}  // namespace oscclient
