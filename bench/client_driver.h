// A client library driven without the handler, through the interface the
// handler uses (IVeskOSC_Tendra, loaded from libVesk_OSC.dylib with dlopen):
// the requests a refresh sends to each camera, each camera's next request
// sent after the answer to its previous one, as the handler's workers do,
// but without their 100 ms pacing.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "IVeskOSC_Tendra.h"
#include "fleet_helpers.h"

namespace bench {

class ClientDriver {
public:
    // The requests of a refresh up to the parameter document, in order.
    static constexpr int kRefreshRequests = 8;

    // Loads dir/libVesk_OSC.dylib; exits on failure. One driver at a time.
    explicit ClientDriver(const std::string& dir);
    ~ClientDriver();
    ClientDriver(const ClientDriver&) = delete;
    ClientDriver& operator=(const ClientDriver&) = delete;

    // Sends the first `requests` requests of a refresh to cameras
    // 127.0.0.1..cameras and returns the seconds from the first request to
    // the last answer; exits when a request fails or answers stop coming.
    double refresh(int port, int cameras, int requests);

private:
    static void on_answer(const char* response, const char* ip, int status);

    void* library_ = nullptr;
    IVeskOSC_Tendra* client_ = nullptr;

    std::mutex mutex_;
    std::condition_variable answered_;
    std::deque<int> ready_;  // cameras whose latest request has its answer
    std::vector<std::string> ips_;
    long failures_ = 0;
    Clock::time_point last_answer_;
};

}  // namespace bench
