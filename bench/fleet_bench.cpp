// fleet_bench: the fleet benchmarks. Simulated cameras on 127.0.0.1..127.0.0.N,
// one handler loaded with our client library, real worker pacing. Every
// figure is taken over several runs and printed as a markdown row. Each
// command lives in its own file (fleet_commands.h).
#include <algorithm>

#include <CLI/CLI.hpp>

#include "fleet_commands.h"
#include "summary.h"

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
    if (*refresh) return bench::cmd_refresh(runs, std::max(cameras, 1), latency_ms, serial);
    if (*throughput) return bench::cmd_throughput(runs, std::max(cameras, 1), per_camera);
    if (*latency) return bench::cmd_latency(runs, std::max(cameras, 1), answers);
    if (*serial_setters) return bench::cmd_serial_setters(runs, std::max(cameras, 1), per_camera);
    if (*idle) return bench::cmd_idle(runs, cameras, seconds);
    if (*idle_host) return bench::cmd_idle_host(cameras, port, seconds);
    return 1;
}
