// Fleet refresh: GetCameraSettings for the whole fleet against the same
// refresh of one camera at the same answer delay, and a serial baseline that
// replays the same requests over one HTTP client.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "IVeskOSCHandlerInst.h"
#include "comparison.h"
#include "fleet_commands.h"
#include "fleet_helpers.h"
#include "fleet_host.h"
#include "serial_client.h"
#include "sim_fleet.h"

namespace bench {

using namespace std::chrono_literals;

namespace {

struct RefreshRun {
    double seconds = 0;  // first host call to the last parameter document
    int commands = 0;    // requests a camera received before its document
    // Per camera, the requests the refresh needed (for the serial replay).
    std::vector<std::vector<oscsim::LoggedRequest>> requests;
};

RefreshRun run_refresh(SimFleet& sim, int cameras) {
    sim.wait_quiet();
    sim.clear();
    reset_host();
    const auto start = Clock::now();
    for (int i = 0; i < cameras; ++i) GetCameraSettings(camera_ip(i).c_str(), sim.port(), true);
    const bool all = wait_host(
        [&] {
            for (int i = 0; i < cameras; ++i) {
                if (g_host.documents[camera_ip(i)].empty()) return false;
            }
            return true;
        },
        600s);
    if (!all) {
        std::fprintf(stderr, "refresh: parameter documents missing\n");
        std::exit(1);
    }
    RefreshRun run;
    Clock::time_point last = start;
    std::vector<Clock::time_point> document_at(cameras);
    {
        std::lock_guard<std::mutex> lock(g_host.mutex);
        for (int i = 0; i < cameras; ++i) {
            document_at[i] = g_host.documents[camera_ip(i)].front();
            last = std::max(last, document_at[i]);
        }
    }
    run.seconds = seconds_between(start, last);
    run.requests.resize(cameras);
    for (int i = 0; i < cameras; ++i) {
        for (const Arrival& a : sim.arrivals(i)) {
            if (a.at <= document_at[i]) run.requests[i].push_back(a.request);
        }
        run.commands = std::max(run.commands, static_cast<int>(run.requests[i].size()));
    }
    return run;
}

// The serial baseline: one libcurl easy handle, one camera after another.
double serial_replay(const SimFleet& sim,
                     const std::vector<std::vector<oscsim::LoggedRequest>>& work, long& requests) {
    SerialClient client;
    requests = 0;
    const auto start = Clock::now();
    for (std::size_t i = 0; i < work.size(); ++i) {
        for (const auto& r : work[i]) {
            if (!client.send(camera_ip(static_cast<int>(i)), sim.port(), r)) {
                std::fprintf(stderr, "serial: %s %s failed\n", camera_ip(i).c_str(),
                             r.command.c_str());
            }
            ++requests;
        }
    }
    return seconds_between(start, Clock::now());
}

}  // namespace

int cmd_refresh(int runs, int cameras, int latency_ms, bool serial) {
    SimFleet sim(cameras);
    sim.set_latency(latency_ms);
    load_handler();
    warm_up(sim.port(), cameras);
    const std::string bench = "Refresh, " + per_answer(latency_ms);
    const std::string n = std::to_string(cameras);
    Figure fleet{bench, n + " cameras: first call to last parameter document", "ms", 1};
    Figure single{bench, "1 camera: call to parameter document", "ms", 1};
    Figure ratio{bench, n + " cameras / 1 camera (per run)", "", 3};
    ratio.goal = "<= 1.15";
    Figure base{bench,
                "serial baseline: one libcurl handle, the same requests, camera after camera", "ms",
                1};
    Figure speedup{bench, "serial baseline / " + n + " cameras (per run)", "x", 2};
    for (int run = 0; run < runs; ++run) {
        const RefreshRun many = run_refresh(sim, cameras);
        const RefreshRun one = run_refresh(sim, 1);
        fleet.values.push_back(many.seconds * 1000);
        single.values.push_back(one.seconds * 1000);
        ratio.values.push_back(many.seconds / one.seconds);
        std::fprintf(stderr, "refresh run %d: %d cameras %.1f ms (%d commands), 1 camera %.1f ms\n",
                     run + 1, cameras, many.seconds * 1000, many.commands, one.seconds * 1000);
        if (serial) {
            sim.wait_quiet();
            long requests = 0;
            const double t = serial_replay(sim, many.requests, requests);
            base.values.push_back(t * 1000);
            speedup.values.push_back(t / many.seconds);
            std::fprintf(stderr, "serial run %d: %ld requests %.1f ms\n", run + 1, requests,
                         t * 1000);
        }
    }
    Destroy();
    for (const Figure* f : {&fleet, &single, &ratio}) emit(*f);
    if (serial) {
        emit(base);
        emit(speedup);
    }
    return 0;
}

}  // namespace bench
