// osc-console: a web console for a fleet of cameras, a host of the handler
// like any other (its C interface and callbacks only).
#include <pthread.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "IVeskOSCHandlerInst.h"
#include "host/camera_address.h"
#include "host/session.h"
#include "tools/console/access_policy.h"
#include "tools/console/console_server.h"
#include "tools/console/fleet_operations.h"
#include "tools/console/fleet_store.h"
#include "tools/console/health_poller.h"
#include "tools/console/screenshot_fetcher.h"
#include "tools/oscctl/client_location.h"

namespace {

using namespace osconsole;

constexpr const char* kSafetyNote = R"(Safety:
  By default the console listens on 127.0.0.1 only and answers only requests
  that name a loopback host. On any other address (--listen 0.0.0.0:8088) it
  prints an access token at start and refuses every request without it: open
  the address it prints (the token then rides in a cookie) or send the header
  X-Console-Token. Requests from pages of other origins may never act on a
  camera, wherever the console listens. Firmware paths named in a request are
  taken only from a peer on this machine (127.0.0.0/8); the page uploads the
  files of a rollout instead.)";

struct Options {
    std::string listen = "127.0.0.1:8088";
    std::vector<std::string> cameras;
    bool discover = false;
    std::string lib_dir;
    int poll_ms = 5000;
    int picture_minutes = 5;
    int max_upload_mb = 512;
    RolloutLimits rollout;
    bool verbose = false;
};

struct ListenAddress {
    std::string host;
    int port = 0;
};

ListenAddress parse_listen(const std::string& text) {
    const auto colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0)
        throw CLI::ValidationError("--listen", "HOST:PORT");
    ListenAddress address{text.substr(0, colon), -1};
    try {
        std::size_t used = 0;
        address.port = std::stoi(text.substr(colon + 1), &used);
        if (used != text.size() - colon - 1) address.port = -1;
    } catch (const std::exception&) {
    }
    if (address.port < 0 || address.port > 65535)
        throw CLI::ValidationError("--listen", "bad port in " + text);
    return address;
}

std::string browser_address(const ListenAddress& listen, int port, const AccessPolicy& policy) {
    const bool any = listen.host == "0.0.0.0" || listen.host == "::";
    std::string address = "http://" + (any ? std::string("127.0.0.1") : listen.host) + ":" +
                          std::to_string(port) + "/";
    if (policy.needs_token()) address += "?token=" + policy.token();
    return address;
}

sigset_t quit_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

int run(const Options& options, const char* argv0) {
    const ListenAddress listen = parse_listen(options.listen);
    const std::string lib_dir =
        options.lib_dir.empty() ? oscctl::default_client_dir(argv0) : options.lib_dir;
    if (!oscctl::has_client_library(lib_dir)) {
        std::fprintf(stderr, "osc-console: no libVesk_OSC.dylib in %s (choose it with --lib-dir)\n",
                     lib_dir.c_str());
        return 1;
    }
    std::vector<oschost::CameraAddress> cameras;
    for (const std::string& text : options.cameras)
        cameras.push_back(oschost::parse_camera_address(text));

    FleetStore store;
    const AccessPolicy policy(listen.host);
    ScreenshotFetcher fetcher(store);
    FleetOperations operations(store, options.rollout,
                               static_cast<std::uint64_t>(options.max_upload_mb) * 1024 * 1024);
    // Destroyed before the store, the fetcher and the operations: no
    // callback runs after it.
    oschost::Session session(lib_dir, options.verbose);
    session.subscribe([&store](const oschost::Event& event) { store.on_event(event); });
    session.subscribe([&operations](const oschost::Event& event) { operations.on_event(event); });
    session.subscribe([&store, &fetcher](const oschost::Event& event) {
        if (const auto* shot = std::get_if<oschost::CommandResult>(&event);
            shot && shot->ok && shot->command == "TakeScreenShot")
            fetcher.request(shot->ip, shot->message);
        if (const auto* found = std::get_if<oschost::DeviceList>(&event))
            for (const auto& camera : found->cameras) store.add_camera(camera);
    });
    for (const auto& camera : cameras)
        if (!store.add_camera(camera))
            std::fprintf(stderr, "osc-console: %s left out (listed twice, or more than %d)\n",
                         camera.ip.c_str(), osc_texts::kMaxCameras);
    if (options.discover) ScanSupportDevices();
    HealthPoller poller(store, std::chrono::milliseconds(options.poll_ms),
                        std::chrono::minutes(options.picture_minutes));
    ConsoleServer server(store, policy, &operations);
    const int port = server.start(listen.host, listen.port);
    if (port < 0) {
        std::fprintf(stderr, "osc-console: cannot listen on %s\n", options.listen.c_str());
        return 1;
    }
    std::cout << "osc-console: " << store.size() << " cameras, open "
              << browser_address(listen, port, policy) << std::endl;
    if (policy.needs_token())
        std::cout << "osc-console: access token " << policy.token() << std::endl;

    const sigset_t quit = quit_signals();
    int signal_number = 0;
    sigwait(&quit, &signal_number);

    server.stop();
    poller.stop();
    fetcher.stop();
    // Calls the handler no more; the rollout's files go with `operations`.
    operations.stop();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    // Before any thread starts, so that every thread leaves the signals to sigwait.
    const sigset_t quit = quit_signals();
    pthread_sigmask(SIG_BLOCK, &quit, nullptr);

    CLI::App app{"osc-console: see and steer a fleet of cameras in a browser"};
    app.footer(kSafetyNote);
    Options options;
    app.add_option("--listen", options.listen, "HOST:PORT to serve the page on (port 0 picks one)")
        ->capture_default_str();
    app.add_option("--cameras", options.cameras,
                   "cameras as IP[:PORT] (port " + std::to_string(osc_texts::kDefaultHttpPort) +
                       " by default)")
        ->delimiter(',');
    app.add_flag("--discover", options.discover, "also add the cameras discovery finds");
    app.add_option("--lib-dir", options.lib_dir, "directory of libVesk_OSC.dylib");
    app.add_option("--poll-ms", options.poll_ms, "how often each camera is asked for its health")
        ->check(CLI::Range(500, 60000))
        ->capture_default_str();
    app.add_option("--picture-minutes", options.picture_minutes,
                   "how often each camera takes a picture for its thumbnail (0: only on demand)")
        ->check(CLI::Range(0, 1440))
        ->capture_default_str();
    app.add_option("--max-upload-mb", options.max_upload_mb,
                   "the largest firmware upload a rollout takes, all files together")
        ->check(CLI::Range(1, 16384))
        ->capture_default_str();
    app.add_option("--rollout-parallel", options.rollout.parallel,
                   "cameras a rollout updates at a time (their uploads share the network)")
        ->check(CLI::Range(1, osc_texts::kMaxCameras))
        ->capture_default_str();
    app.add_option("--rollout-stop-after", options.rollout.stop_after,
                   "failed cameras after which a rollout starts no more")
        ->check(CLI::Range(1, osc_texts::kMaxCameras))
        ->capture_default_str();
    app.add_flag("--verbose", options.verbose, "also write the handler's log to stderr");
    CLI11_PARSE(app, argc, argv);
    try {
        return run(options, argv[0]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "osc-console: %s\n", error.what());
        return 1;
    }
}
