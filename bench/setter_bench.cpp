// Setter throughput (the fleet against one camera at the same answer
// delay), answer latency, and the serial baseline for the same setter work.
#include <sched.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
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
#include "sim_process.h"

namespace bench {

namespace {

// The one CPU this process may run on, or -1 (taskset pins the host).
int own_cpu() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) != 0 || CPU_COUNT(&set) != 1) return -1;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &set)) return cpu;
    }
    return -1;
}

// Queues of setters, answered as fast as the cameras and the pacing allow.
struct SetterRun {
    double seconds = 0;  // first host call to the last setter result
    long answered = 0;
    std::vector<double> latencies_us;
    std::vector<double> complete_us;
    std::vector<double> round_us;
};

// Queues `per_camera` setters for each camera and waits for their results,
// or until `cap` has passed: a slow client then leaves the rest queued.
SetterRun run_setters(int port, int cameras, int per_camera, bool latency,
                      std::chrono::seconds cap) {
    reset_host();
    {
        std::lock_guard<std::mutex> lock(g_host.mutex);
        g_host.record_latency = latency;
    }
    const long expected = static_cast<long>(cameras) * per_camera;
    const auto start = Clock::now();
    // Command-major, so that every camera's queue fills at the same pace.
    for (int k = 0; k < per_camera; ++k) {
        for (int i = 0; i < cameras; ++i) SetBrightness(camera_ip(i).c_str(), port, k % 100);
    }
    wait_host([&] { return g_host.setter_results + g_host.failures >= expected; }, cap);
    SetterRun run;
    std::lock_guard<std::mutex> lock(g_host.mutex);
    if (g_host.failures > 0) {
        std::fprintf(stderr, "setters: %ld of %ld answered, %ld failed\n", g_host.setter_results,
                     expected, g_host.failures);
    }
    run.answered = g_host.setter_results;
    run.seconds = seconds_between(start, g_host.last_setter_result);
    run.latencies_us = g_host.latencies_us;
    run.complete_us = g_host.complete_us;
    run.round_us = g_host.round_us;
    g_host.record_latency = false;
    return run;
}

// Setter answers per second, in a handler of its own: what a capped run
// leaves queued goes with it.
double throughput(SimFleet& sim, int cameras, int per_camera, std::chrono::seconds cap) {
    sim.wait_quiet();
    load_handler();
    warm_up(sim.port(), cameras);
    const SetterRun r = run_setters(sim.port(), cameras, per_camera, false, cap);
    Destroy();
    const long expected = static_cast<long>(cameras) * per_camera;
    std::fprintf(stderr, "  %d cameras: %ld of %ld setters in %.2f s%s\n", cameras, r.answered,
                 expected, r.seconds, r.answered < expected ? " (time cap)" : "");
    return r.answered > 0 && r.seconds > 0 ? r.answered / r.seconds : 0;
}

}  // namespace

int cmd_throughput(int runs, int cameras, int per_camera, int latency_ms, int cap_s) {
    SimFleet sim(cameras);
    sim.set_latency(latency_ms);
    const std::string bench = "Setter throughput, " + per_answer(latency_ms);
    const std::string n = std::to_string(cameras);
    const std::string work = " x " + std::to_string(per_camera) + " queued setters";
    Figure fleet{bench, n + " cameras" + work, "commands/s", 1};
    Figure single{bench, "1 camera" + work, "commands/s", 2};
    Figure ratio{bench, n + " cameras / (" + n + " x 1 camera) (per run)", "", 3};
    ratio.goal = ">= 0.90";
    const std::chrono::seconds cap(cap_s);
    for (int run = 0; run < runs; ++run) {
        std::fprintf(stderr, "throughput run %d:\n", run + 1);
        const double many = throughput(sim, cameras, per_camera, cap);
        const double one = throughput(sim, 1, per_camera, cap);
        fleet.values.push_back(many);
        single.values.push_back(one);
        ratio.values.push_back(many / (cameras * one));
    }
    for (const Figure* f : {&fleet, &single, &ratio}) emit(*f);
    return 0;
}

int cmd_latency(int runs, int cameras, int answers, int sim_cpu) {
    // The cameras in this process, or in their own on another CPU.
    std::unique_ptr<SimFleet> local;
    std::unique_ptr<SimProcess> apart;
    int port = 0;
    if (sim_cpu < 0) {
        local = std::make_unique<SimFleet>(cameras);
        port = local->port();
    } else {
        apart = std::make_unique<SimProcess>(cameras, 0, sim_cpu);
        port = apart->port();
        watch_answers(port, cameras);
    }
    load_handler();
    warm_up(port, cameras);
    const int per_camera = (answers + cameras - 1) / cameras;
    const std::string bench =
        "Answer latency, " + std::to_string(cameras) + " cameras, " + per_answer(0);
    const std::string where =
        sim_cpu < 0 ? "simulator in this process"
                    : "simulator in its own process on CPU " + std::to_string(sim_cpu) +
                          (own_cpu() >= 0 ? ", host on CPU " + std::to_string(own_cpu()) : "");
    const std::string of = " (" + std::to_string(answers) + " setter answers, " + where + ")";
    Figure c50{bench, "p50: whole answer read from the socket -> host callback" + of, "us", 1};
    Figure c99{bench, "p99: whole answer read from the socket -> host callback" + of, "us", 1};
    Figure p50{bench, "p50: first bytes of the answer read -> host callback", "us", 1};
    Figure p99{bench, "p99: first bytes of the answer read -> host callback", "us", 1};
    Figure r50{bench, "p50: request arrives at the camera -> host callback (upper bound)", "us", 1};
    Figure r99{bench, "p99: request arrives at the camera -> host callback (upper bound)", "us", 1};
    c99.goal = "< 1000 us";
    for (int run = 0; run < runs; ++run) {
        if (local) local->wait_quiet();
        SetterRun r = run_setters(port, cameras, per_camera, true, std::chrono::minutes(5));
        r.latencies_us.resize(std::min<std::size_t>(r.latencies_us.size(), answers));
        r.complete_us.resize(std::min<std::size_t>(r.complete_us.size(), answers));
        c50.values.push_back(percentile(r.complete_us, 0.50));
        c99.values.push_back(percentile(r.complete_us, 0.99));
        r.round_us.resize(std::min<std::size_t>(r.round_us.size(), answers));
        p50.values.push_back(percentile(r.latencies_us, 0.50));
        p99.values.push_back(percentile(r.latencies_us, 0.99));
        r50.values.push_back(percentile(r.round_us, 0.50));
        r99.values.push_back(percentile(r.round_us, 0.99));
        std::fprintf(stderr,
                     "latency run %d: %zu answers, whole answer p50 %.1f us p99 %.1f us max %.1f "
                     "us, first bytes p99 %.1f us\n",
                     run + 1, r.complete_us.size(), c50.values.back(), c99.values.back(),
                     percentile(r.complete_us, 1.0), p99.values.back());
    }
    Destroy();
    emit(c50);
    emit(c99);
    emit(p50);
    emit(p99);
    if (local) {
        emit(r50);
        emit(r99);
    }
    return 0;
}

// Serial baseline for the throughput work: the same setter requests.
int cmd_serial_setters(int runs, int cameras, int per_camera) {
    SimFleet sim(cameras);
    load_handler();
    warm_up(sim.port(), cameras);
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
    Figure rate{"Setter throughput, " + per_answer(0),
                "serial baseline: one libcurl handle, " + std::to_string(cameras) + " cameras x " +
                    std::to_string(per_camera) + " setters, round robin",
                "commands/s", 1};
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
        std::fprintf(stderr, "serial setters run %d: %ld in %.2f s\n", run + 1, sent, t);
    }
    emit(rate);
    return 0;
}

}  // namespace bench
