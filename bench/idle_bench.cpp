// Benchmark 4, idle cost: separate processes, so that the figures hold only
// the handler and our client library (the cameras run in osc-camera-sim).
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "IVeskOSCHandlerInst.h"
#include "fleet_commands.h"
#include "fleet_helpers.h"
#include "fleet_host.h"
#include "summary.h"

extern char** environ;

namespace bench {

using namespace std::chrono_literals;

namespace {

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

}  // namespace

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
    Figure cpu{"4 Idle cost",
               std::to_string(cameras) + " cameras, empty queues, " + std::to_string(seconds) +
                   " s: CPU of one core",
               "%", 2};
    Figure cpu0{"4 Idle cost", "0 cameras, same process and time: CPU of one core", "%", 2};
    Figure rss{"4 Idle cost", std::to_string(cameras) + " cameras: resident memory (VmRSS)", "MiB",
               1};
    Figure rss0{"4 Idle cost", "0 cameras: resident memory (VmRSS)", "MiB", 1};
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
    print_row(cpu);
    print_row(cpu0);
    print_row(rss);
    print_row(rss0);
    return 0;
}

}  // namespace bench
