// The requests a camera received, in order of arrival.
#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace oscsim {

struct LoggedRequest {
    std::string method;
    std::string path;
    std::string command;      // OSC command name, empty for info and state
    std::string body;         // JSON body; for uploads the stored file name
    int client_port = 0;      // the same for requests on one connection
    bool challenged = false;  // answered with a 401 Digest challenge only
};

class RequestLog {
public:
    void add(LoggedRequest request) {
        std::lock_guard<std::mutex> lock(mutex_);
        entries_.push_back(std::move(request));
    }
    std::vector<LoggedRequest> entries() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return entries_;
    }
    void clear() {
        std::lock_guard<std::mutex> lock(mutex_);
        entries_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::vector<LoggedRequest> entries_;
};

}  // namespace oscsim
