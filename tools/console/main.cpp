// osc-console: a web console for a fleet of cameras, a host of the handler
// like any other (its C interface and callbacks only).
#include <pthread.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "IVeskOSCHandlerInst.h"
#include "host/camera_address.h"
#include "host/session.h"
#include "tools/console/access_policy.h"
#include "tools/console/audit_log.h"
#include "tools/console/console_server.h"
#include "tools/console/fleet_operations.h"
#include "tools/console/fleet_store.h"
#include "tools/console/health_poller.h"
#include "tools/console/memory_upkeep.h"
#include "tools/console/screenshot_fetcher.h"
#include "tools/console/token_file.h"
#include "tools/oscctl/client_location.h"

namespace {

using namespace osconsole;

constexpr const char* kSafetyNote = R"(Safety:
  By default the console listens on 127.0.0.1 only and answers only requests
  that name a loopback host. On any other address (--listen 0.0.0.0:8088), or
  once a token file is given, every request needs a token: an operator token
  that may do everything and a viewer token that may only look (the page, the
  API's GET routes, the event stream, /metrics). The console prints the tokens
  it makes up at start; open the address it prints (the token then rides in a
  cookie), or send the header X-Console-Token or Authorization: Bearer.
  Off loopback, serve HTTPS with --tls-cert and --tls-key, or the tokens travel
  in clear text. Requests from pages of other origins may never act on a
  camera, wherever the console listens. Firmware paths named in a request are
  taken only from a peer on this machine (127.0.0.0/8); the page uploads the
  files of a rollout instead. Every action request, accepted or refused, and
  each queued action's result go to the audit log (--audit-log; standard
  error by default off loopback).)";

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
    std::string operator_token_file;
    std::string viewer_token_file;
    std::string tls_cert;
    std::string tls_key;
    std::string audit_log;
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
    return (policy.tls() ? "https://" : "http://") +
           (any ? std::string("127.0.0.1") : listen.host) + ":" + std::to_string(port) + "/";
}

AccessPolicy access_policy(const Options& options, const ListenAddress& listen) {
    AccessSettings settings{listen.host, !options.tls_cert.empty(), std::nullopt, std::nullopt};
    if (!options.operator_token_file.empty())
        settings.operator_token = read_token_file(options.operator_token_file);
    if (!options.viewer_token_file.empty())
        settings.viewer_token = read_token_file(options.viewer_token_file);
    return AccessPolicy(settings);
}

// Off loopback every action is recorded, on standard error unless a file is given.
std::unique_ptr<AuditLog> audit_log(const Options& options, const ListenAddress& listen) {
    if (!options.audit_log.empty()) return std::make_unique<AuditLog>(options.audit_log);
    if (!is_loopback_host(listen.host)) return std::make_unique<AuditLog>(AuditLog::kStandardError);
    return std::make_unique<AuditLog>();
}

// The tokens the console made up; those read from files stay where they are.
void print_tokens(const Options& options, const std::string& address, const AccessPolicy& policy) {
    if (!policy.needs_token()) return;
    if (options.operator_token_file.empty())
        std::cout << "osc-console: operator token " << policy.token(Role::Operator)
                  << " (may do everything)" << std::endl;
    if (options.viewer_token_file.empty())
        std::cout << "osc-console: viewer token " << policy.token(Role::Viewer)
                  << " (may only look): open " << address << "?token=" << policy.token(Role::Viewer)
                  << std::endl;
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
    const AccessPolicy policy = access_policy(options, listen);
    const std::unique_ptr<AuditLog> audit = audit_log(options, listen);
    std::optional<TlsFiles> tls;
    if (policy.tls()) tls = TlsFiles{options.tls_cert, options.tls_key};
    ScreenshotFetcher fetcher(store);
    FleetOperations operations(store, *audit, options.rollout,
                               static_cast<std::uint64_t>(options.max_upload_mb) * 1024 * 1024);
    // Destroyed before the store, the audit log, the fetcher and the
    // operations: no callback runs after it.
    oschost::Session session(lib_dir, options.verbose);
    session.subscribe([&store](const oschost::Event& event) { store.on_event(event); });
    session.subscribe([&audit](const oschost::Event& event) { audit->on_event(event); });
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
    ConsoleServer server(store, policy, *audit, &operations, tls);
    const int port = server.start(listen.host, listen.port);
    if (port < 0) {
        std::fprintf(stderr, "osc-console: cannot listen on %s\n", options.listen.c_str());
        return 1;
    }
    if (!is_loopback_host(listen.host) && !tls)
        std::fprintf(stderr,
                     "osc-console: warning: serving plain HTTP on %s: the tokens travel in clear "
                     "text (--tls-cert and --tls-key serve HTTPS)\n",
                     options.listen.c_str());
    const std::string address = browser_address(listen, port, policy);
    // The operator's address carries its token when the console made it up.
    const bool made_up = policy.needs_token() && options.operator_token_file.empty();
    std::cout << "osc-console: " << store.size() << " cameras, open " << address
              << (made_up ? "?token=" + policy.token(Role::Operator) : "") << std::endl;
    print_tokens(options, address, policy);

    wait_releasing_memory(quit_signals());

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
    tune_allocator();

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
    app.add_option("--operator-token-file", options.operator_token_file,
                   "file holding the operator token (may do everything)")
        ->check(CLI::ExistingFile);
    app.add_option("--viewer-token-file", options.viewer_token_file,
                   "file holding the viewer token (may only look)")
        ->check(CLI::ExistingFile);
    auto* cert =
        app.add_option("--tls-cert", options.tls_cert, "PEM certificate (chain): serve HTTPS")
            ->check(CLI::ExistingFile);
    auto* key = app.add_option("--tls-key", options.tls_key, "PEM private key of --tls-cert")
                    ->check(CLI::ExistingFile);
    cert->needs(key);
    key->needs(cert);
    app.add_option("--audit-log", options.audit_log,
                   "append a JSON line per action request and result to FILE (- for stderr; "
                   "default: stderr off loopback, none on loopback)");
    CLI11_PARSE(app, argc, argv);
    try {
        return run(options, argv[0]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "osc-console: %s\n", error.what());
        return 1;
    }
}
