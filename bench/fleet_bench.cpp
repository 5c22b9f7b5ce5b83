// fleet_bench: the fleet benchmarks. Simulated cameras on 127.0.0.1..127.0.0.N,
// one handler loaded with our client library, real worker pacing. Every
// figure is taken over several runs and printed as a markdown row.
#include <arpa/inet.h>
#include <curl/curl.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include <CLI/CLI.hpp>

#include "IVeskOSCHandlerInst.h"
#include "sim/fleet.h"
#include "summary.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// The worker's pass (workers/timings.h). The benchmarks never change it: it
// is the limit they are measured against.
constexpr std::chrono::milliseconds kPass{100};
constexpr double kCommandsPerSecondPerCamera = 1000.0 / kPass.count();

double seconds_between(Clock::time_point a, Clock::time_point b) {
    return std::chrono::duration<double>(b - a).count();
}

std::string camera_ip(int index) {
    return "127.0.0." + std::to_string(index + 1);
}

// ---- What the host sees: callbacks are plain C pointers, so state is global.

struct HostState {
    std::mutex mutex;
    std::condition_variable changed;
    std::unordered_map<std::string, std::vector<Clock::time_point>> documents;
    std::unordered_map<std::string, int> ok_results;  // "ip command"
    long setter_results = 0;
    long failures = 0;
    Clock::time_point last_setter_result;
    std::vector<double> latencies_us;  // answer at our socket -> host callback
    std::vector<double> round_us;      // request at the camera -> host callback
    bool record_latency = false;
} g_host;

// Arrival of the latest request at each camera, in nanoseconds of Clock.
std::unique_ptr<std::atomic<long long>[]> g_arrival;
// First bytes of the pending answer read from each camera's connection; 0 when
// none is pending.
std::unique_ptr<std::atomic<long long>[]> g_answer_at;
std::atomic<int> g_watched_port{0};
std::atomic<int> g_watched_cameras{0};
std::unordered_map<std::string, int> g_camera_index;

long long now_ns() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
        .count();
}

void on_params(const char* ip, const char*) {
    const auto now = Clock::now();
    std::lock_guard<std::mutex> lock(g_host.mutex);
    g_host.documents[ip].push_back(now);
    g_host.changed.notify_all();
}

void on_result(const char* ip, const char* command, bool ok, const char* message) {
    const long long arrived_ns = now_ns();
    std::lock_guard<std::mutex> lock(g_host.mutex);
    if (!ok) {
        if (g_host.failures++ < 5) std::fprintf(stderr, "failed: %s %s %s\n", ip, command, message);
        g_host.changed.notify_all();
        return;
    }
    ++g_host.ok_results[std::string(ip) + " " + command];
    if (std::strcmp(command, "SetBrightness") == 0) {
        ++g_host.setter_results;
        g_host.last_setter_result = Clock::now();
        const auto found = g_camera_index.find(ip);
        if (found != g_camera_index.end()) {
            // The next answer's bytes come only after this callback has returned.
            const long long answer_at = g_answer_at[found->second].exchange(0);
            if (g_host.record_latency) {
                const long long sent = g_arrival[found->second].load();
                g_host.round_us.push_back(static_cast<double>(arrived_ns - sent) / 1000.0);
                if (answer_at != 0) {
                    g_host.latencies_us.push_back(static_cast<double>(arrived_ns - answer_at) /
                                                  1000.0);
                }
            }
        }
    }
    g_host.changed.notify_all();
}

void discard_log(const char*) {}

template <class Pred>
bool wait_host(Pred pred, std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(g_host.mutex);
    return g_host.changed.wait_for(lock, limit, [&] { return pred(); });
}

void reset_host() {
    std::lock_guard<std::mutex> lock(g_host.mutex);
    g_host.documents.clear();
    g_host.ok_results.clear();
    g_host.setter_results = 0;
    g_host.failures = 0;
    g_host.latencies_us.clear();
    g_host.round_us.clear();
}

void load_handler() {
    if (Init(OSC_CLIENT_DIR) == nullptr) {
        std::fprintf(stderr, "Init failed\n");
        std::exit(1);
    }
    SetDataCallback(nullptr, on_params, on_result, nullptr);
    // A host forwards log lines to its own logger; here they are dropped.
    SetLogCallback(discard_log);
}

// ---- The simulated fleet, with every request's arrival time.

struct Arrival {
    Clock::time_point at;
    oscsim::LoggedRequest request;
};

class SimFleet {
public:
    explicit SimFleet(int count) : fleet_(oscsim::SimConfig{}, count), arrivals_(count) {
        g_arrival.reset(new std::atomic<long long>[count]);
        g_answer_at.reset(new std::atomic<long long>[count]);
        for (int i = 0; i < count; ++i) g_arrival[i] = g_answer_at[i] = 0;
        if (!fleet_.start()) {
            std::fprintf(stderr, "cannot start %d simulated cameras on 127.0.0.x\n", count);
            std::exit(1);
        }
        port_ = fleet_.port();
        g_watched_port = port_;
        g_watched_cameras = count;
        for (int i = 0; i < count; ++i) {
            g_camera_index[camera_ip(i)] = i;
            fleet_.cameras()[i]->on_request([this, i](const oscsim::LoggedRequest& r) {
                g_arrival[i] = now_ns();
                std::lock_guard<std::mutex> lock(mutex_);
                arrivals_[i].push_back({Clock::now(), r});
            });
        }
    }
    ~SimFleet() { fleet_.stop(); }

    int port() const { return port_; }
    int size() const { return static_cast<int>(arrivals_.size()); }

    void clear() {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto& a : arrivals_) a.clear();
    }
    std::vector<Arrival> arrivals(int camera) const {
        std::lock_guard<std::mutex> lock(mutex_);
        return arrivals_[camera];
    }
    long total() const {
        std::lock_guard<std::mutex> lock(mutex_);
        long n = 0;
        for (const auto& a : arrivals_) n += static_cast<long>(a.size());
        return n;
    }
    void set_latency(int ms) {
        for (auto& camera : fleet_.cameras()) {
            oscsim::Faults f = camera->faults();
            f.latency_ms = ms;
            camera->set_faults(f);
        }
    }
    // Waits until no request has arrived for `quiet`.
    void wait_quiet(std::chrono::milliseconds quiet = 400ms) const {
        long before = -1;
        for (int i = 0; i < 200; ++i) {
            const long now = total();
            if (now == before) return;
            before = now;
            std::this_thread::sleep_for(quiet);
        }
    }

private:
    oscsim::Fleet fleet_;
    int port_ = 0;
    mutable std::mutex mutex_;
    std::vector<std::vector<Arrival>> arrivals_;
};

// ---- Fleet refresh

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
        120s);
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
    sim.wait_quiet();
    return run;
}

// ---- The serial baseline: one libcurl easy handle, one camera after another.

size_t collect(char* data, size_t size, size_t count, void* out) {
    static_cast<std::string*>(out)->append(data, size * count);
    return size * count;
}

class SerialClient {
public:
    SerialClient() {
        curl_global_init(CURL_GLOBAL_DEFAULT);
        curl_ = curl_easy_init();
        headers_ = curl_slist_append(headers_, "Content-Type: application/json;charset=utf-8");
        headers_ = curl_slist_append(headers_, "Accept: application/json");
        headers_ = curl_slist_append(headers_, "Expect:");
    }
    ~SerialClient() {
        curl_slist_free_all(headers_);
        curl_easy_cleanup(curl_);
    }
    // One request, waiting for its whole answer; false on any failure.
    bool send(const std::string& ip, int port, const oscsim::LoggedRequest& r) {
        const std::string url = "http://" + ip + ":" + std::to_string(port) + r.path;
        std::string answer;
        curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
        // A new connection per request: on a reused one the simulator's
        // answers wait 40 ms for a delayed ACK (no TCP_NODELAY), which would
        // flatter the handler rather than measure it.
        curl_easy_setopt(curl_, CURLOPT_FRESH_CONNECT, 1L);
        curl_easy_setopt(curl_, CURLOPT_FORBID_REUSE, 1L);
        curl_easy_setopt(curl_, CURLOPT_TIMEOUT_MS, 10000L);
        curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers_);
        curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, &collect);
        curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &answer);
        if (r.method == "GET") {
            curl_easy_setopt(curl_, CURLOPT_HTTPGET, 1L);
        } else {
            curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE, static_cast<long>(r.body.size()));
            curl_easy_setopt(curl_, CURLOPT_COPYPOSTFIELDS, r.body.c_str());
        }
        long status = 0;
        const CURLcode code = curl_easy_perform(curl_);
        curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &status);
        return code == CURLE_OK && status == 200;
    }

private:
    CURL* curl_ = nullptr;
    curl_slist* headers_ = nullptr;
};

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

bool at_most_115(double, double ratio) {
    return ratio <= 1.15;
}

int cmd_refresh(int runs, int cameras, int latency_ms, bool serial) {
    SimFleet sim(cameras);
    sim.set_latency(latency_ms);
    load_handler();
    run_refresh(sim, cameras);  // every camera known, every worker started
    const std::string tag =
        latency_ms > 0 ? " (camera latency " + std::to_string(latency_ms) + " ms)" : "";
    bench::Figure fleet{"1 Fleet refresh" + tag,
                        std::to_string(cameras) + " cameras: first call to last parameter document",
                        "ms", 1};
    bench::Figure single{"1 Fleet refresh" + tag, "1 camera: call to parameter document", "ms", 1};
    bench::Figure base{"6 Serial baseline" + tag,
                       "one libcurl handle, same requests as the " + std::to_string(cameras) +
                           "-camera refresh, camera after camera",
                       "ms", 1};
    bench::Figure speedup{"6 Serial baseline" + tag,
                          "speed-up of per-camera workers (serial time / handler time)", "x", 2};
    for (auto* f : {&fleet, &single}) {
        f->limit_name = "commands x 100 ms";
        f->goal = "ratio <= 1.15";
        f->met = at_most_115;
    }
    base.limit_name = "handler refresh, same run";
    for (int run = 0; run < runs; ++run) {
        const RefreshRun many = run_refresh(sim, cameras);
        fleet.values.push_back(many.seconds * 1000);
        fleet.limits.push_back(many.commands * static_cast<double>(kPass.count()));
        const RefreshRun one = run_refresh(sim, 1);
        single.values.push_back(one.seconds * 1000);
        single.limits.push_back(one.commands * static_cast<double>(kPass.count()));
        std::fprintf(stderr, "refresh run %d: %d cameras %.1f ms (%d commands), 1 camera %.1f ms\n",
                     run + 1, cameras, many.seconds * 1000, many.commands, one.seconds * 1000);
        if (serial) {
            long requests = 0;
            const double t = serial_replay(sim, many.requests, requests);
            base.values.push_back(t * 1000);
            base.limits.push_back(many.seconds * 1000);
            speedup.values.push_back(t / many.seconds);
            std::fprintf(stderr, "serial run %d: %ld requests %.1f ms\n", run + 1, requests,
                         t * 1000);
            sim.wait_quiet();
        }
    }
    Destroy();
    bench::print_row(fleet);
    bench::print_row(single);
    if (serial) {
        bench::print_row(base);
        bench::print_row(speedup);
    }
    return 0;
}

// ---- Command throughput and answer latency: queues of setters, answered at once.

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

bool at_least_090(double, double ratio) {
    return ratio >= 0.9;
}

int cmd_throughput(int runs, int cameras, int per_camera) {
    SimFleet sim(cameras);
    load_handler();
    warm_up_setters(sim, cameras);
    bench::Figure rate{
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
    bench::print_row(rate);
    return 0;
}

double percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const std::size_t rank = static_cast<std::size_t>(std::ceil(p * values.size()));
    return values[std::min(values.size() - 1, rank == 0 ? 0 : rank - 1)];
}

bool below_1000us(double value, double) {
    return value < 1000.0;
}

int cmd_latency(int runs, int cameras, int answers) {
    SimFleet sim(cameras);
    load_handler();
    warm_up_setters(sim, cameras);
    const int per_camera = (answers + cameras - 1) / cameras;
    const std::string of =
        std::to_string(answers) + " setter answers, " + std::to_string(cameras) + " cameras";
    bench::Figure p50{"5 Answer latency",
                      "p50: answer read from the socket -> host callback, " + of, "us", 1};
    bench::Figure p99{"5 Answer latency",
                      "p99: answer read from the socket -> host callback, " + of, "us", 1};
    bench::Figure r50{"5 Answer latency",
                      "p50: request arrives at the camera -> host callback (upper bound)", "us", 1};
    bench::Figure r99{"5 Answer latency",
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
    bench::print_row(p50);
    bench::print_row(p99);
    bench::print_row(r50);
    bench::print_row(r99);
    return 0;
}

// ---- Serial baseline for the throughput work: the same setter requests.

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
    bench::Figure rate{"6 Serial baseline",
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
    bench::print_row(rate);
    return 0;
}

// ---- Idle cost: separate processes, so that the figures hold only the
// handler and our client library (the cameras run in osc-camera-sim).

struct Child {
    pid_t pid = -1;
    FILE* out = nullptr;
};

Child spawn(const std::vector<std::string>& args) {
    int fds[2];
    if (pipe(fds) != 0) return {};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    std::vector<char*> argv;
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    Child child;
    if (posix_spawn(&child.pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
        child.pid = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    child.out = fdopen(fds[0], "r");
    return child;
}

std::string read_line(FILE* in) {
    std::string line;
    for (int c; (c = std::fgetc(in)) != EOF && c != '\n';) line.push_back(static_cast<char>(c));
    return line;
}

long status_kib(const char* field) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(field, 0) == 0) return std::stol(line.substr(std::strlen(field)));
    }
    return 0;
}

double cpu_seconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

int cmd_idle_host(int cameras, int port, int seconds) {
    load_handler();
    if (cameras > 0) {
        for (int i = 0; i < cameras; ++i) GetCameraSettings(camera_ip(i).c_str(), port, false);
        const bool all = wait_host(
            [&] {
                for (int i = 0; i < cameras; ++i) {
                    if (g_host.ok_results[camera_ip(i) + " StartStreaming"] == 0) return false;
                }
                return true;
            },
            60s);
        if (!all) std::fprintf(stderr, "idle: not every camera finished its refresh\n");
    }
    std::this_thread::sleep_for(1s);  // queues empty, every answer handled
    const double cpu0 = cpu_seconds();
    const auto t0 = Clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const double cpu = cpu_seconds() - cpu0;
    const double wall = seconds_between(t0, Clock::now());
    std::printf("idle %f %ld %ld\n", 100.0 * cpu / wall, status_kib("VmRSS:"),
                status_kib("VmHWM:"));
    std::fflush(stdout);
    Destroy();
    return 0;
}

bool below_2pct(double value, double) {
    return value < 2.0;
}
bool below_40mib(double value, double) {
    return value < 40.0;
}

int cmd_idle(int runs, int cameras, int seconds) {
    Child sim = spawn({OSC_SIM_EXE, "--cameras", std::to_string(cameras), "--port", "0"});
    int port = 0;
    for (int i = 0; i < cameras; ++i) {
        const std::string line = read_line(sim.out);
        const auto colon = line.rfind(':');
        if (line.rfind("camera ", 0) != 0 || colon == std::string::npos) {
            std::fprintf(stderr, "simulator did not start: %s\n", line.c_str());
            return 1;
        }
        port = std::stoi(line.substr(colon + 1));
    }
    bench::Figure cpu{"4 Idle cost",
                      std::to_string(cameras) + " cameras, empty queues, " +
                          std::to_string(seconds) + " s: CPU of one core",
                      "%", 2};
    bench::Figure cpu0{"4 Idle cost", "0 cameras, same process and time: CPU of one core", "%", 2};
    bench::Figure rss{"4 Idle cost", std::to_string(cameras) + " cameras: resident memory (VmRSS)",
                      "MiB", 1};
    bench::Figure rss0{"4 Idle cost", "0 cameras: resident memory (VmRSS)", "MiB", 1};
    cpu.limit_name = "0 cameras";
    rss.limit_name = "0 cameras";
    cpu.difference = true;
    rss.difference = true;
    cpu.goal = "< 2 %";
    cpu.met = below_2pct;
    rss.goal = "< 40 MiB";
    rss.met = below_40mib;
    char self[4096] = {};
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return 1;
    for (int run = 0; run < runs; ++run) {
        // Both processes at once: CPU time and memory are counted per process.
        Child busy = spawn({self, "idle-host", "--cameras", std::to_string(cameras), "--port",
                            std::to_string(port), "--seconds", std::to_string(seconds)});
        Child empty = spawn({self, "idle-host", "--cameras", "0", "--port", std::to_string(port),
                             "--seconds", std::to_string(seconds)});
        double values[2][3] = {};
        int index = 0;
        for (Child* c : {&busy, &empty}) {
            // Init prints its own line on standard output first.
            std::string line;
            while (!std::feof(c->out) && (line = read_line(c->out)).rfind("idle ", 0) != 0) {
            }
            std::istringstream in(line.substr(std::min<std::size_t>(5, line.size())));
            in >> values[index][0] >> values[index][1] >> values[index][2];
            int status = 0;
            waitpid(c->pid, &status, 0);
            std::fclose(c->out);
            ++index;
        }
        cpu.values.push_back(values[0][0]);
        cpu0.values.push_back(values[1][0]);
        cpu.limits.push_back(values[1][0]);
        rss.values.push_back(values[0][1] / 1024);
        rss0.values.push_back(values[1][1] / 1024);
        rss.limits.push_back(values[1][1] / 1024);
        std::fprintf(stderr,
                     "idle run %d: %d cameras %.2f %% %.1f MiB (peak %.1f), 0 cameras %.2f %% "
                     "%.1f MiB\n",
                     run + 1, cameras, values[0][0], values[0][1] / 1024, values[0][2] / 1024,
                     values[1][0], values[1][1] / 1024);
    }
    kill(sim.pid, SIGTERM);
    waitpid(sim.pid, nullptr, 0);
    std::fclose(sim.out);
    bench::print_row(cpu);
    bench::print_row(cpu0);
    bench::print_row(rss);
    bench::print_row(rss0);
    return 0;
}

}  // namespace

// Reads of the answers: libcurl receives through recv(), which this program
// defines over the C library's to note when an answer's first bytes from a
// simulated camera reach our process.
extern "C" ssize_t recv(int fd, void* buf, size_t len, int flags) {
    using Recv = ssize_t (*)(int, void*, size_t, int);
    static const Recv real = reinterpret_cast<Recv>(dlsym(RTLD_NEXT, "recv"));
    const ssize_t n = real(fd, buf, len, flags);
    const int port = g_watched_port.load(std::memory_order_relaxed);
    if (n <= 0 || port == 0) return n;
    const long long at = now_ns();
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) != 0 ||
        peer.sin_family != AF_INET || ntohs(peer.sin_port) != port) {
        return n;  // not a connection to a camera (the simulator's own sockets)
    }
    const unsigned address = ntohl(peer.sin_addr.s_addr);
    const int camera = static_cast<int>(address & 0xff) - 1;
    if ((address >> 24) != 127 || camera < 0 || camera >= g_watched_cameras.load()) return n;
    long long none = 0;
    g_answer_at[camera].compare_exchange_strong(none, at);
    return n;
}

int main(int argc, char** argv) {
    CLI::App app{"Fleet benchmarks over simulated cameras on 127.0.0.x"};
    app.require_subcommand(1);
    int runs = 5;
    int cameras = 99;
    int per_camera = 200;
    int answers = 10000;
    int seconds = 60;
    int latency_ms = 0;
    int port = 0;
    bool serial = false;
    bool header = false;
    app.add_flag("--header", header, "print the table header first");

    auto* refresh = app.add_subcommand("refresh", "GetCameraSettings for the whole fleet");
    auto* throughput = app.add_subcommand("throughput", "queues of setters, answered at once");
    auto* latency = app.add_subcommand("latency", "answer to host callback, p50/p99");
    auto* serial_setters =
        app.add_subcommand("serial-setters", "the throughput work over one HTTP client");
    auto* idle = app.add_subcommand("idle", "CPU and memory of an idle fleet");
    auto* idle_host = app.add_subcommand("idle-host", "one idle process (used by idle)");
    auto* header_only = app.add_subcommand("header", "print the table header only");
    for (auto* sub : {refresh, throughput, latency, serial_setters, idle, idle_host}) {
        sub->add_option("--runs", runs, "runs; figures are median, min and max")
            ->check(CLI::PositiveNumber);
        sub->add_option("--cameras", cameras, "cameras, on 127.0.0.1 ..")->check(CLI::Range(0, 99));
    }
    refresh->add_option("--latency-ms", latency_ms, "simulated camera answer delay");
    refresh->add_flag("--serial", serial, "also replay the same requests over one HTTP client");
    throughput->add_option("--commands", per_camera, "setters queued per camera");
    serial_setters->add_option("--commands", per_camera, "setters per camera");
    latency->add_option("--answers", answers, "answers measured per run");
    idle->add_option("--seconds", seconds, "idle time measured");
    idle_host->add_option("--seconds", seconds, "idle time measured");
    idle_host->add_option("--port", port, "simulator port")->required();
    CLI11_PARSE(app, argc, argv);

    if (header || *header_only) bench::print_header();
    if (*header_only) return 0;
    if (*refresh) return cmd_refresh(runs, std::max(cameras, 1), latency_ms, serial);
    if (*throughput) return cmd_throughput(runs, std::max(cameras, 1), per_camera);
    if (*latency) return cmd_latency(runs, std::max(cameras, 1), answers);
    if (*serial_setters) return cmd_serial_setters(runs, std::max(cameras, 1), per_camera);
    if (*idle) return cmd_idle(runs, cameras, seconds);
    if (*idle_host) return cmd_idle_host(cameras, port, seconds);
    return 1;
}
