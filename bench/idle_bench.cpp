// Idle cost: separate processes, so that the figures hold only the handler
// and the client library (the cameras run in osc-camera-sim).
#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>

#include "IVeskOSCHandlerInst.h"
#include "child_process.h"
#include "comparison.h"
#include "fleet_commands.h"
#include "fleet_helpers.h"
#include "fleet_host.h"
#include "process_stats.h"
#include "sim_process.h"

namespace bench {

using namespace std::chrono_literals;

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

int cmd_idle(int runs, int cameras, int seconds) {
    const SimProcess sim(cameras, 0);
    const std::string bench = "Idle cost, " + std::to_string(cameras) + " cameras";
    Figure cpu{bench,
               std::to_string(cameras) + " cameras, empty queues, " + std::to_string(seconds) +
                   " s: CPU of one core",
               "%", 2};
    Figure cpu0{bench, "0 cameras, same process and time: CPU of one core", "%", 2};
    Figure rss{bench, std::to_string(cameras) + " cameras: resident memory (VmRSS)", "MiB", 1};
    Figure rss0{bench, "0 cameras: resident memory (VmRSS)", "MiB", 1};
    cpu.goal = "< 2 %";
    rss.goal = "< 40 MiB";
    const std::string self = own_executable();
    for (int run = 0; run < runs; ++run) {
        // Both processes at once: CPU time and memory are counted per process.
        auto host = [&](int n) {
            return std::vector<std::string>{self,           "idle-host",
                                            "--cameras",    std::to_string(n),
                                            "--port",       std::to_string(sim.port()),
                                            "--seconds",    std::to_string(seconds),
                                            "--client-dir", g_client_dir};
        };
        ChildProcess busy(host(cameras));
        ChildProcess empty(host(0));
        double values[2][3] = {};
        int index = 0;
        for (ChildProcess* c : {&busy, &empty}) {
            // Init prints its own lines on standard output first.
            std::string line;
            while (c->read_line(line) && line.rfind("idle ", 0) != 0) {
            }
            std::istringstream in(line.substr(std::min<std::size_t>(5, line.size())));
            in >> values[index][0] >> values[index][1] >> values[index][2];
            c->wait();
            ++index;
        }
        cpu.values.push_back(values[0][0]);
        cpu0.values.push_back(values[1][0]);
        rss.values.push_back(values[0][1] / 1024);
        rss0.values.push_back(values[1][1] / 1024);
        std::fprintf(stderr,
                     "idle run %d: %d cameras %.2f %% %.1f MiB (peak %.1f), 0 cameras %.2f %% "
                     "%.1f MiB\n",
                     run + 1, cameras, values[0][0], values[0][1] / 1024, values[0][2] / 1024,
                     values[1][0], values[1][1] / 1024);
    }
    for (const Figure* f : {&cpu, &cpu0, &rss, &rss0}) emit(*f);
    return 0;
}

}  // namespace bench
