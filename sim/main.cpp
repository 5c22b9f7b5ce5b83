// osc-camera-sim: serves one or more simulated cameras on loopback addresses.
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <thread>

#include <CLI/CLI.hpp>

#include "sim/dns_sd_advert.h"
#include "sim/fleet.h"

namespace {

std::atomic<bool> g_quit{false};

void on_signal(int) {
    g_quit = true;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Simulated OSC cameras on 127.0.0.x"};
    oscsim::SimConfig config;
    oscsim::Faults faults;
    int cameras = 1;
    int reboot_ms = 3000;
    int step_ms = 200;
    int keep_alive_s = 1;
    bool log = false;
    bool advertise = false;
    config.port = 8080;
    app.add_option("--port", config.port, "HTTP port of every camera (0 picks one)")
        ->capture_default_str();
    app.add_option("--cameras", cameras, "number of cameras, on 127.0.0.1 .. 127.0.0.N")
        ->capture_default_str()
        ->check(CLI::Range(1, 254));
    app.add_option("--model", config.model, "camera module")
        ->capture_default_str()
        ->check(CLI::IsMember({"Q07261", "Q06127", "Q04932", "M3VX27164", "R58Q306.00"}));
    app.add_option("--ast1220", config.ast1220_version,
                   "AST1220 version (AST107_..., AST108_..., AST109_..., IMRX_...)")
        ->capture_default_str();
    app.add_option("--ast1235", config.ast1235_version, "AST1235 version")->capture_default_str();
    app.add_option("--reboot-ms", reboot_ms, "time a reboot keeps the camera unreachable")
        ->capture_default_str();
    app.add_option("--update-step-ms", step_ms, "time between firmware update lines")
        ->capture_default_str();
    app.add_option("--keep-alive-s", keep_alive_s,
                   "seconds an idle connection stays open; 0 closes it after every answer")
        ->capture_default_str();
    app.add_option("--user", config.user, "require HTTP Digest authentication with this user");
    app.add_option("--password", config.password, "the password that goes with --user")
        ->needs("--user");
    app.add_option("--latency-ms", faults.latency_ms, "delay before every answer")
        ->capture_default_str();
    app.add_flag("--drop", faults.drop, "close connections without an answer");
    app.add_flag("--refuse", faults.refuse, "refuse connections");
    app.add_flag("--malformed", faults.malformed, "cut JSON answers in half");
    app.add_flag("--wrong-type", faults.wrong_type, "send numbers as texts");
    app.add_flag("--never-answer", faults.never_answer, "hold every request");
    app.add_flag("--server-error", faults.server_error, "answer every request with HTTP 500");
    app.add_flag("--stall", faults.stall, "send half of every answer, then nothing");
    app.add_option("--fail-update", faults.fail_update, "make firmware updates fail")
        ->check(CLI::IsMember({"hw", "upload"}));
    app.add_option("--omit-state", faults.omit_state_groups,
                   "state groups to leave out, comma separated (imrxMode,CpuUsage,...)");
    app.add_flag("--fault-control", config.fault_control,
                 "switch faults over HTTP: PUT /sim/faults with a JSON object such as "
                 "{\"malformed\":true} (members left out are off; refusal is not offered)");
    app.add_flag("--log", log, "print every request");
    app.add_flag("--advertise", advertise,
                 "announce the camera on 127.0.0.1 over DNS-SD (_osc._tcp; needs an mDNS daemon)");
    CLI11_PARSE(app, argc, argv);
    config.reboot_downtime = std::chrono::milliseconds(reboot_ms);
    config.update_step = std::chrono::milliseconds(step_ms);
    config.keep_alive = std::chrono::seconds(keep_alive_s);

    // Faults other than refusal are switched on after start, so that the
    // cameras bind first.
    oscsim::Faults initial = faults;
    initial.refuse = false;
    oscsim::Fleet fleet(config, cameras);
    if (!fleet.start()) {
        std::fprintf(stderr, "cannot bind port %d on 127.0.0.1..127.0.0.%d\n", config.port,
                     cameras);
        return 1;
    }
    for (auto& camera : fleet.cameras()) {
        if (log) {
            const std::string host = camera->host();
            camera->on_request([host](const oscsim::LoggedRequest& r) {
                std::cout << host << " " << r.method << " " << r.path << " " << r.command << " "
                          << r.body << std::endl;
            });
        }
        camera->set_faults(faults);
        std::cout << "camera " << camera->host() << ":" << fleet.port() << std::endl;
    }
    // Only the first camera is announced: the record points at this machine's
    // host name, which never resolves to 127.0.0.2 and above.
    oscsim::DnsSdAdvert advert;
    if (advertise) {
        const std::string name = config.serial + " " + config.model;
        if (advert.start(name, fleet.port(), config.model)) {
            std::cout << "announced " << name << " (_osc._tcp, port " << fleet.port() << ")"
                      << std::endl;
        } else {
            std::fprintf(stderr, "cannot announce over DNS-SD: no mDNS daemon reachable\n");
        }
    }
    std::signal(SIGINT, on_signal);
    std::signal(SIGTERM, on_signal);
    while (!g_quit) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    fleet.stop();
    return 0;
}
