// fleet_bench: the fleet benchmarks. Simulated cameras on 127.0.0.1..127.0.0.N,
// one handler loaded with a client library (ours from this build, or another
// build's with --client-dir), real worker pacing. Every figure is taken over
// several runs and written as a result line; `table` joins the lines of two
// client libraries into one markdown table. Each command lives in its own
// file (fleet_commands.h).
#include <algorithm>
#include <fstream>
#include <iostream>

#include <CLI/CLI.hpp>

#include "comparison.h"
#include "fleet_commands.h"
#include "fleet_host.h"

int main(int argc, char** argv) {
    CLI::App app{"Fleet benchmarks over simulated cameras on 127.0.0.x"};
    app.require_subcommand(1);
    int runs = 5;
    int cameras = 99;
    int per_camera = 200;
    int answers = 10000;
    int seconds = 60;
    int latency_ms = 0;
    int cap_s = 60;
    int sim_cpu = -1;
    int port = 0;
    bool serial = false;
    std::string results = "-";
    std::string before = "before";
    std::string after = "after";
    app.add_option("--client-dir", bench::g_client_dir,
                   "directory of the libVesk_OSC.dylib to load (default: this build's)");
    app.add_option("--label", bench::g_label, "tag of the result lines (default: after)");

    auto* refresh = app.add_subcommand("refresh", "GetCameraSettings for the whole fleet");
    auto* throughput = app.add_subcommand("throughput", "queues of setters, fleet and 1 camera");
    auto* latency = app.add_subcommand("latency", "answer to host callback, p50/p99");
    auto* serial_setters =
        app.add_subcommand("serial-setters", "the throughput work over one HTTP client");
    auto* client = app.add_subcommand("client-refresh", "the client library alone, no handler");
    auto* idle = app.add_subcommand("idle", "CPU and memory of an idle fleet");
    auto* idle_host = app.add_subcommand("idle-host", "one idle process (used by idle)");
    auto* shutdown = app.add_subcommand("shutdown", "Destroy in every state a worker can be in");
    auto* table = app.add_subcommand("table", "result lines of two clients as one table");
    shutdown->fallthrough();
    shutdown->add_option("--runs", runs, "runs; figures are median, min and max")
        ->check(CLI::PositiveNumber);
    for (auto* sub : {refresh, throughput, latency, serial_setters, client, idle, idle_host}) {
        sub->fallthrough();  // --client-dir and --label after the command too
        sub->add_option("--runs", runs, "runs; figures are median, min and max")
            ->check(CLI::PositiveNumber);
        sub->add_option("--cameras", cameras, "cameras, on 127.0.0.1 ..")
            ->check(CLI::Range(0, sub == client ? 254 : 99));
    }
    for (auto* sub : {refresh, throughput, client}) {
        sub->add_option("--latency-ms", latency_ms, "simulated camera answer delay");
    }
    refresh->add_flag("--serial", serial, "also replay the same requests over one HTTP client");
    throughput->add_option("--commands", per_camera, "setters queued per camera");
    throughput->add_option("--cap-s", cap_s, "longest wait for the queued setters' answers");
    serial_setters->add_option("--commands", per_camera, "setters per camera");
    latency->add_option("--answers", answers, "answers measured per run");
    latency->add_option("--sim-cpu", sim_cpu,
                        "run the cameras in their own process on this CPU (taskset)");
    idle->add_option("--seconds", seconds, "idle time measured");
    idle_host->add_option("--seconds", seconds, "idle time measured");
    idle_host->add_option("--port", port, "simulator port")->required();
    table->add_option("--results", results, "file of result lines (default: standard input)");
    table->add_option("--before", before, "label of the first column");
    table->add_option("--after", after, "label of the second column");
    CLI11_PARSE(app, argc, argv);

    const int fleet = std::max(cameras, 1);
    if (*refresh) return bench::cmd_refresh(runs, fleet, latency_ms, serial);
    if (*throughput) return bench::cmd_throughput(runs, fleet, per_camera, latency_ms, cap_s);
    if (*latency) return bench::cmd_latency(runs, fleet, answers, sim_cpu);
    if (*serial_setters) return bench::cmd_serial_setters(runs, fleet, per_camera);
    if (*client) return bench::cmd_client_refresh(runs, fleet, latency_ms);
    if (*idle) return bench::cmd_idle(runs, cameras, seconds);
    if (*idle_host) return bench::cmd_idle_host(cameras, port, seconds);
    if (*shutdown) return bench::cmd_shutdown(runs);
    if (*table) {
        if (results == "-") {
            bench::print_comparison(std::cin, before, after);
        } else {
            std::ifstream in(results);
            bench::print_comparison(in, before, after);
        }
        return 0;
    }
    return 1;
}
