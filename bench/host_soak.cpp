// host_soak: the handler with our client library as a host runs it for hours.
// The simulated cameras live in their own osc-camera-sim process, so this
// process holds only the host's side: random host operations (the stress
// tests' table) on every camera, rotating faults switched over the
// simulator's control route, now and then a camera removed and an address
// never seen before tried (see meet_new_address). Every sample
// period the traffic pauses until the answers have stopped, then this
// process's resident memory, heap in use and thread count are noted. Prints
// the samples and the slope of each over the last three quarters of the run,
// in KiB per hour; exits 1 when the RSS slope is above --max-slope.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>
#include <CLI/CLI.hpp>

#include "fleet_helpers.h"
#include "sim_process.h"
#include "soak_samples.h"
#include "stress/host_operations.h"
#include "support/process_usage.h"

namespace {

using namespace std::chrono_literals;

// The host's callbacks only count: a recorder's memory would read as growth.
std::atomic<long> g_callbacks{0};
void counted() {
    ++g_callbacks;
}

void install_counting_callbacks() {
    SetDataCallback([](const char*) { counted(); }, [](const char*, const char*) { counted(); },
                    [](const char*, const char*, bool, const char*) { counted(); },
                    [](const char*, bool, float, float, bool, int) { counted(); });
    SetFWUpdateCallback([](const char*, bool) { counted(); },
                        [](const char*, const char*, int) { counted(); });
    SetRebootStateCallback([](const char*, bool) { counted(); });
    SetLogCallback([](const char*) { counted(); });
}

// Malformed, wrongly typed, server errors or healthy, as the simulated soak.
void switch_faults(const std::string& ip, int port, int pick) {
    static const char* const kFaults[] = {R"({"malformed":true})", R"({"wrong_type":true})",
                                          R"({"server_error":true})", "{}"};
    httplib::Client control(ip, port);
    control.set_connection_timeout(2s);
    if (!control.Put("/sim/faults", kFaults[pick % 4], "application/json"))
        std::fprintf(stderr, "cannot switch the faults of %s\n", ip.c_str());
}

// A camera removed, and an address never seen before (nothing listens there:
// connection refused) tried in its slot until the next call, which forgets
// it in turn: the handler and the client meet ever more addresses, as over
// days of cameras coming and going, while the fleet stays at its size.
void meet_new_address(const std::string& removed, int port) {
    static long met = 0;
    static std::string previous;
    if (!previous.empty()) RemoveCachedDevice(previous.c_str());
    RemoveCachedDevice(removed.c_str());
    ++met;
    previous = "127.1." + std::to_string(met / 250 % 256) + "." + std::to_string(1 + met % 250);
    SetBrightness(previous.c_str(), port, 50);
}

// Every queued command answered: no callback for `quiet` (longer than the
// workers' 2 s pause after a change of log server), at most a minute.
void wait_for_quiet(std::chrono::seconds quiet) {
    for (int i = 0; i < 60; ++i) {
        const long seen = g_callbacks;
        std::this_thread::sleep_for(quiet);
        if (seen == g_callbacks) return;
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"The handler and our client over a simulated fleet in another process, for hours"};
    int cameras = 99;
    int seconds = 3600;
    int sample_seconds = 60;
    int rate = 200;
    int new_address_every = 1000;
    std::string client_dir = OSC_CLIENT_DIR;
    double max_slope = 256;
    bool keep_handler = false;
    app.add_option("--cameras", cameras, "cameras, on 127.0.0.1 ..")->check(CLI::Range(1, 99));
    app.add_option("--seconds", seconds, "length of the run")->check(CLI::PositiveNumber);
    app.add_option("--sample-seconds", sample_seconds, "time between samples")
        ->check(CLI::PositiveNumber);
    app.add_option("--rate", rate, "host operations a second, over the whole fleet")
        ->check(CLI::PositiveNumber);
    app.add_option("--new-address-every", new_address_every,
                   "host operations between a camera's removal and a new address tried")
        ->check(CLI::PositiveNumber);
    app.add_option("--max-slope", max_slope, "largest RSS slope after warm-up, KiB per hour");
    app.add_option("--client-dir", client_dir,
                   "directory of the libVesk_OSC.dylib to load (default: this build's)");
    app.add_flag("--keep-handler", keep_handler,
                 "end without Destroy, so that a heap profiler lists what the handler holds");
    CLI11_PARSE(app, argc, argv);

    // The handler prints its pauses on standard output; the report keeps it.
    FILE* report = fdopen(dup(STDOUT_FILENO), "w");
    if (report == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
    auto sim = std::make_unique<bench::SimProcess>(cameras, 0, -1,
                                                   std::vector<std::string>{"--fault-control"});
    const int port = sim->port();
    std::vector<std::string> ips;
    for (int i = 0; i < cameras; ++i) ips.push_back(bench::camera_ip(i));
    if (Init(client_dir.c_str()) == nullptr) return 1;
    install_counting_callbacks();

    std::mt19937 random(99);
    std::uniform_int_distribution<int> camera_pick(0, cameras - 1);
    std::uniform_int_distribution<std::size_t> operation_pick(0,
                                                              stress::kHostOperations.size() - 1);
    const auto pace = std::chrono::microseconds(1000000 / rate);
    const auto started = bench::Clock::now();
    std::vector<bench::SoakSample> samples;
    long operations = 0;
    while (bench::Clock::now() < started + std::chrono::seconds(seconds)) {
        const auto until = bench::Clock::now() + std::chrono::seconds(sample_seconds);
        for (auto next = bench::Clock::now(); next < until; next += pace) {
            std::this_thread::sleep_until(next);
            const int camera = camera_pick(random);
            stress::kHostOperations[operation_pick(random)](ips[camera].c_str(), port,
                                                            camera_pick(random));
            if (++operations % 100 == 0) switch_faults(ips[camera], port, camera_pick(random));
            if (operations % new_address_every == 0)
                meet_new_address(ips[camera_pick(random)], port);
        }
        wait_for_quiet(3s);
        const ProcessUsage usage;
        samples.push_back({bench::seconds_between(started, bench::Clock::now()), operations,
                           usage.rss_kib, usage.anon_kib, usage.heap_kib, usage.threads});
        bench::print_sample(report, samples.back());
    }
    const bench::SoakSlopes slopes = bench::slopes_after_warm_up(samples);
    bench::print_samples_table(report, samples, slopes);
    std::fflush(report);
    if (keep_handler) {
        sim.reset();
        _exit(0);  // no Destroy, no static destructors: everything held stays held
    }
    Destroy();
    return slopes.rss_kib_per_hour <= max_slope ? 0 : 1;
}
