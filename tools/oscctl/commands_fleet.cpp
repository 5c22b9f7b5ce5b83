// scan, watch: commands about every camera the handler finds.
#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <tuple>

#include <fmt/format.h>

#include "IVeskOSCHandlerInst.h"
#include "tools/oscctl/commands.h"

namespace oscctl {

namespace {

std::atomic<bool> g_interrupted{false};

void on_interrupt(int) {
    g_interrupted = true;
}

// The cameras of OSC_STATIC_CAMERAS the client library will probe; warns
// about the others, which it skips without a word (one parser for both).
std::size_t static_cameras() {
    const char* listed = std::getenv("OSC_STATIC_CAMERAS");
    const oschost::CameraList list = oschost::parse_camera_list(listed ? listed : "");
    for (const auto& [entry, problem] : list.skipped)
        std::fprintf(stderr, "oscctl: OSC_STATIC_CAMERAS: skipping '%s' (%s)\n", entry.c_str(),
                     problem.c_str());
    return list.cameras.size();
}

// With discovery limited to the static list, the scan is complete once every
// listed camera has answered; otherwise it runs for the whole window.
std::size_t expected_cameras(std::size_t listed) {
    const char* discovery = std::getenv("OSC_DISCOVERY");
    if (!discovery || std::string(discovery) != "static") return 0;
    return listed;
}

// Addresses by their numbers (127.0.0.2 before 127.0.0.10), then port.
bool address_order(const CameraAddress& a, const CameraAddress& b) {
    in_addr first{}, second{};
    ::inet_pton(AF_INET, a.ip.c_str(), &first);
    ::inet_pton(AF_INET, b.ip.c_str(), &second);
    return std::make_tuple(ntohl(first.s_addr), a.port) <
           std::make_tuple(ntohl(second.s_addr), b.port);
}

}  // namespace

bool parse_switch(const std::string& text) {
    if (text == "on") return true;
    if (text == "off") return false;
    throw CommandFailure("expected on or off, not " + text);
}

double default_scan_seconds() {
    // Read as the client library reads it: whole seconds, 1..60.
    const char* text = std::getenv("OSC_DISCOVERY_SECONDS");
    if (!text || *text == '\0') return 5;
    char* end = nullptr;
    const long seconds = std::strtol(text, &end, 10);
    return *end == '\0' ? static_cast<double>(std::clamp(seconds, 1L, 60L)) : 5;
}

std::vector<CameraAddress> find_cameras(CommandContext& ctx, double seconds) {
    const std::size_t expected = expected_cameras(static_cameras());
    ScanSupportDevices();
    std::vector<CameraAddress> cameras;
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(static_cast<int>(seconds * 1000));
    while (expected == 0 || cameras.size() < expected) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        auto event = ctx.events.wait_for(
            ctx.cursor,
            [](const Event& e) { return std::holds_alternative<oschost::DeviceList>(e); }, left);
        if (!event) break;
        cameras = std::get<oschost::DeviceList>(*event).cameras;
    }
    std::sort(cameras.begin(), cameras.end(), address_order);
    return cameras;
}

int run_scan(CommandContext& ctx, const Arguments& args) {
    std::vector<std::string> cameras;
    for (const CameraAddress& camera : find_cameras(ctx, args.scan_seconds))
        cameras.push_back(camera.text());
    if (ctx.out.json()) {
        ctx.out.document(nlohmann::json(cameras));
    } else {
        for (const auto& camera : cameras) ctx.out.line(camera);
        ctx.out.line(fmt::format("{} camera(s) found", cameras.size()));
    }
    if (cameras.empty())
        std::fprintf(stderr,
                     "oscctl: no camera answered within %g s. Cameras announce themselves over "
                     "DNS-SD (_osc._tcp; an mDNS daemon such as avahi-daemon must run); cameras "
                     "that do not can be listed: OSC_STATIC_CAMERAS=IP:PORT,IP:PORT "
                     "(OSC_DISCOVERY=static turns DNS-SD off; --seconds listens longer).\n",
                     args.scan_seconds);
    return 0;
}

int run_watch(CommandContext& ctx, const Arguments& args) {
    std::signal(SIGINT, on_interrupt);
    std::signal(SIGTERM, on_interrupt);
    ScanSupportDevices();
    for (const auto& text : args.cameras) {
        const CameraAddress camera = oschost::parse_camera_address(text);
        GetCameraSettings(camera.ip.c_str(), camera.port, false);
        GetCameraHealthAndUsage(camera.ip.c_str(), camera.port);
    }
    const auto started = std::chrono::steady_clock::now();
    const auto limit = std::chrono::milliseconds(static_cast<int>(args.duration * 1000));
    std::size_t shown = 0;
    while (!g_interrupted &&
           (args.duration <= 0 || std::chrono::steady_clock::now() - started < limit)) {
        for (const Event& event : ctx.events.since(shown)) {
            if (const auto line = event_json(event)) ctx.out.document(*line);
            ++shown;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    for (const Event& event : ctx.events.since(shown))
        if (const auto line = event_json(event)) ctx.out.document(*line);
    return 0;
}

}  // namespace oscctl
