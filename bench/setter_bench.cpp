// Benchmarks 2 and 5, command throughput and answer latency, and the serial
// baseline (6) for the same setter work.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "IVeskOSCHandlerInst.h"
#include "fleet_commands.h"
#include "fleet_helpers.h"
#include "fleet_host.h"
#include "serial_client.h"
#include "sim_fleet.h"
#include "summary.h"

namespace bench {

namespace {

// Queues of setters, answered at once.
struct SetterRun {
    double seconds = 0;
    long commands = 0;  // setter requests the cameras received
    std::vector<double> latencies_us;
    std::vector<double> round_us;
};

SetterRun run_setters(SimFleet& sim, int cameras, int per_camera, bool latency) {
    sim.wait_quiet();
    sim.clear();
    reset_host();
    {
        std::lock_guard<std::mutex> lock(g_host.mutex);
        g_host.record_latency = latency;
    }
    const long expected = static_cast<long>(cameras) * per_camera;
    const auto start = Clock::now();
    // Command-major, so that every camera's queue fills at the same pace.
    for (int k = 0; k < per_camera; ++k) {
        for (int i = 0; i < cameras; ++i) SetBrightness(camera_ip(i).c_str(), sim.port(), k % 100);
    }
    const auto limit = std::chrono::milliseconds(per_camera * kPass.count() * 3 + 60000);
    const bool done = wait_host([&] { return g_host.setter_results + g_host.failures >= expected; },
                                std::chrono::duration_cast<std::chrono::milliseconds>(limit));
    SetterRun run;
    {
        std::lock_guard<std::mutex> lock(g_host.mutex);
        if (!done || g_host.failures > 0) {
            std::fprintf(stderr, "setters: %ld of %ld answered, %ld failed\n",
                         g_host.setter_results, expected, g_host.failures);
        }
        run.seconds = seconds_between(start, g_host.last_setter_result);
        run.latencies_us = g_host.latencies_us;
        run.round_us = g_host.round_us;
        g_host.record_latency = false;
    }
    for (int i = 0; i < cameras; ++i) {
        for (const Arrival& a : sim.arrivals(i)) {
            if (a.request.command == "camera.setOptions") ++run.commands;
        }
    }
    return run;
}

void warm_up_setters(SimFleet& sim, int cameras) {
    run_setters(sim, cameras, 1, false);
}

}  // namespace

int cmd_throughput(int runs, int cameras, int per_camera) {
    SimFleet sim(cameras);
    load_handler();
    warm_up_setters(sim, cameras);
    Figure rate{
        "2 Command throughput",
        std::to_string(cameras) + " cameras x " + std::to_string(per_camera) + " queued setters",
        "commands/s", 1};
    rate.limit_name = "10/s per camera";
    rate.goal = "ratio >= 0.90";
    rate.met = at_least_090;
    for (int run = 0; run < runs; ++run) {
        const SetterRun r = run_setters(sim, cameras, per_camera, false);
        rate.values.push_back(r.commands / r.seconds);
        rate.limits.push_back(cameras * kCommandsPerSecondPerCamera);
        std::fprintf(stderr, "throughput run %d: %ld commands in %.2f s\n", run + 1, r.commands,
                     r.seconds);
    }
    Destroy();
    print_row(rate);
    return 0;
}

int cmd_latency(int runs, int cameras, int answers) {
    SimFleet sim(cameras);
    load_handler();
    warm_up_setters(sim, cameras);
    const int per_camera = (answers + cameras - 1) / cameras;
    const std::string of =
        std::to_string(answers) + " setter answers, " + std::to_string(cameras) + " cameras";
    Figure p50{"5 Answer latency", "p50: answer read from the socket -> host callback, " + of, "us",
               1};
    Figure p99{"5 Answer latency", "p99: answer read from the socket -> host callback, " + of, "us",
               1};
    Figure r50{"5 Answer latency",
               "p50: request arrives at the camera -> host callback (upper bound)", "us", 1};
    Figure r99{"5 Answer latency",
               "p99: request arrives at the camera -> host callback (upper bound)", "us", 1};
    p99.goal = "p99 < 1000 us";
    p99.met = below_1000us;
    for (int run = 0; run < runs; ++run) {
        SetterRun r = run_setters(sim, cameras, per_camera, true);
        r.latencies_us.resize(std::min<std::size_t>(r.latencies_us.size(), answers));
        r.round_us.resize(std::min<std::size_t>(r.round_us.size(), answers));
        p50.values.push_back(percentile(r.latencies_us, 0.50));
        p99.values.push_back(percentile(r.latencies_us, 0.99));
        r50.values.push_back(percentile(r.round_us, 0.50));
        r99.values.push_back(percentile(r.round_us, 0.99));
        std::fprintf(stderr,
                     "latency run %d: %zu answers p50 %.1f us p99 %.1f us max %.1f us; from the "
                     "camera's request p50 %.1f us p99 %.1f us\n",
                     run + 1, r.latencies_us.size(), p50.values.back(), p99.values.back(),
                     percentile(r.latencies_us, 1.0), r50.values.back(), r99.values.back());
    }
    Destroy();
    print_row(p50);
    print_row(p99);
    print_row(r50);
    print_row(r99);
    return 0;
}

// Serial baseline for the throughput work: the same setter requests.
int cmd_serial_setters(int runs, int cameras, int per_camera) {
    SimFleet sim(cameras);
    load_handler();
    warm_up_setters(sim, cameras);
    // The exact request the handler's client sends for SetBrightness.
    std::vector<oscsim::LoggedRequest> one;
    for (const Arrival& a : sim.arrivals(0)) {
        if (a.request.command == "camera.setOptions") one.push_back(a.request);
    }
    Destroy();
    if (one.empty()) {
        std::fprintf(stderr, "no setter request recorded\n");
        return 1;
    }
    Figure rate{"6 Serial baseline",
                "one libcurl handle, " + std::to_string(cameras) + " cameras x " +
                    std::to_string(per_camera) + " setters, round robin",
                "commands/s", 1};
    rate.limit_name = "10/s per camera";
    for (int run = 0; run < runs; ++run) {
        SerialClient client;
        const auto start = Clock::now();
        long sent = 0;
        for (int k = 0; k < per_camera; ++k) {
            for (int i = 0; i < cameras; ++i) {
                if (!client.send(camera_ip(i), sim.port(), one.front())) {
                    std::fprintf(stderr, "serial setter failed\n");
                }
                ++sent;
            }
        }
        const double t = seconds_between(start, Clock::now());
        rate.values.push_back(sent / t);
        rate.limits.push_back(cameras * kCommandsPerSecondPerCamera);
        std::fprintf(stderr, "serial setters run %d: %ld in %.2f s\n", run + 1, sent, t);
    }
    print_row(rate);
    return 0;
}

}  // namespace bench
