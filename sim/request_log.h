// The latest requests a camera received, in order of arrival.
#pragma once

#include <deque>
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
    // Enough for any test's sequence (the longest reads 40); a simulator
    // left running for days must not keep every request it ever answered.
    static constexpr std::size_t kKept = 256;

    void add(LoggedRequest request) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (entries_.size() == kKept) entries_.pop_front();
        entries_.push_back(std::move(request));
    }
    std::vector<LoggedRequest> entries() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return {entries_.begin(), entries_.end()};
    }
    void clear() {
        std::lock_guard<std::mutex> lock(mutex_);
        std::deque<LoggedRequest>().swap(entries_);  // clear() would keep a block
    }

private:
    mutable std::mutex mutex_;
    std::deque<LoggedRequest> entries_;
};

}  // namespace oscsim
