// What the host sees of the handler: its callbacks are plain C pointers, so
// their state is global. Also the per-camera timestamps that the simulated
// cameras and the recv() interposition (fleet_host.cpp) fill in.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "fleet_helpers.h"

namespace bench {

struct HostState {
    std::mutex mutex;
    std::condition_variable changed;
    std::unordered_map<std::string, std::vector<Clock::time_point>> documents;
    std::unordered_map<std::string, int> ok_results;  // "ip command"
    long setter_results = 0;
    long failures = 0;
    Clock::time_point last_setter_result;
    std::vector<double> latencies_us;  // answer's first bytes at our socket -> host callback
    std::vector<double> complete_us;   // answer's last bytes at our socket -> host callback
    std::vector<double> round_us;      // request at the camera -> host callback
    bool record_latency = false;
};
extern HostState g_host;

// Arrival of the latest request at each camera, in nanoseconds of Clock.
extern std::unique_ptr<std::atomic<long long>[]> g_arrival;
// First bytes of the pending answer read from each camera's connection; 0 when
// none is pending.
extern std::unique_ptr<std::atomic<long long>[]> g_answer_at;
extern std::unique_ptr<std::atomic<long long>[]> g_answer_done_at;
extern std::atomic<int> g_watched_port;
extern std::atomic<int> g_watched_cameras;
extern std::unordered_map<std::string, int> g_camera_index;

// Waits, under g_host.mutex, until pred() holds or the limit passes.
template <class Pred>
bool wait_host(Pred pred, std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(g_host.mutex);
    return g_host.changed.wait_for(lock, limit, [&] { return pred(); });
}

void reset_host();

// Notes the answers of cameras 127.0.0.1..count on `port` for the latency
// figures.
void watch_answers(int port, int count);

// The directory of the client library that Init opens (--client-dir).
extern std::string g_client_dir;

// Loads the handler over the client library in g_client_dir and installs
// the callbacks; exits on failure.
void load_handler();

// One setter per camera, waiting for every answer: each camera is known,
// its worker runs and its connection is open before anything is timed.
void warm_up(int port, int cameras);

}  // namespace bench
