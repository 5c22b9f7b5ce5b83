// The simulated fleet on 127.0.0.1..127.0.0.N, with every request's arrival
// time.
#pragma once

#include <chrono>
#include <mutex>
#include <vector>

#include "fleet_helpers.h"
#include "sim/fleet.h"

namespace bench {

struct Arrival {
    Clock::time_point at;
    oscsim::LoggedRequest request;
};

class SimFleet {
public:
    // Starts the cameras and points the host's per-camera timestamps at them;
    // exits when they cannot start.
    explicit SimFleet(int count);
    ~SimFleet();

    int port() const { return port_; }
    int size() const { return static_cast<int>(arrivals_.size()); }

    void clear();
    std::vector<Arrival> arrivals(int camera) const;
    long total() const;
    void set_latency(int ms);
    // Held answers are sent when the hold ends.
    void hold_answers(bool hold);
    // Waits until no request has arrived for `quiet`.
    void wait_quiet(std::chrono::milliseconds quiet = std::chrono::milliseconds(400)) const;

private:
    oscsim::Fleet fleet_;
    int port_ = 0;
    mutable std::mutex mutex_;
    std::vector<std::vector<Arrival>> arrivals_;
};

}  // namespace bench
