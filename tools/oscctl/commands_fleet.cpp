// scan, watch: commands about every camera the handler finds.
#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <sstream>
#include <stdexcept>
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

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    std::string part;
    while (std::getline(in, part, separator))
        if (!part.empty()) parts.push_back(part);
    return parts;
}

// The entries of OSC_STATIC_CAMERAS the client library will probe; warns
// about the others, which it skips without a word.
std::vector<std::string> static_cameras() {
    const char* listed = std::getenv("OSC_STATIC_CAMERAS");
    std::vector<std::string> valid;
    for (std::string entry : split(listed ? listed : "", ',')) {
        const auto first = entry.find_first_not_of(" \t");
        if (first == std::string::npos) continue;
        entry = entry.substr(first, entry.find_last_not_of(" \t") - first + 1);
        std::string problem;
        try {
            const CameraAddress camera = parse_camera_address(entry);
            in_addr address{};
            if (::inet_pton(AF_INET, camera.ip.c_str(), &address) != 1)
                problem = "not an IPv4 address";
        } catch (const std::invalid_argument& error) {
            problem = error.what();
        }
        if (problem.empty())
            valid.push_back(entry);
        else
            std::fprintf(stderr, "oscctl: OSC_STATIC_CAMERAS: skipping '%s' (%s)\n", entry.c_str(),
                         problem.c_str());
    }
    return valid;
}

// With discovery limited to the static list, the scan is complete once every
// listed camera has answered; otherwise it runs for the whole window.
std::size_t expected_cameras(std::size_t listed) {
    const char* discovery = std::getenv("OSC_DISCOVERY");
    if (!discovery || std::string(discovery) != "static") return 0;
    return listed;
}

// Sorts addresses by their numbers (127.0.0.2 before 127.0.0.10), then port.
std::tuple<unsigned, unsigned, unsigned, unsigned, int, std::string> address_order(
    const std::string& text) {
    unsigned a = 0, b = 0, c = 0, d = 0;
    int port = 0;
    if (std::sscanf(text.c_str(), "%u.%u.%u.%u:%d", &a, &b, &c, &d, &port) < 4)
        return {~0u, 0, 0, 0, 0, text};
    return {a, b, c, d, port, text};
}

// A callback as one JSON line, the parameter document embedded as an object;
// the answers oscctl only counts for its waiting are left out.
void print_watched(Output& out, Event event) {
    if (event.value("event", "") == "answer") return;
    if (event.value("event", "") == "params") {
        auto document = nlohmann::json::parse(event.value("json", ""), nullptr, false);
        if (!document.is_discarded()) event["json"] = std::move(document);
    }
    out.document(event);
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

std::vector<std::string> find_cameras(CommandContext& ctx, double seconds) {
    const std::size_t expected = expected_cameras(static_cameras().size());
    ScanSupportDevices();
    std::vector<std::string> cameras;
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(static_cast<int>(seconds * 1000));
    while (expected == 0 || cameras.size() < expected) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        auto event = ctx.events.wait_for(
            ctx.cursor, [](const Event& e) { return e.value("event", "") == "devices"; }, left);
        if (!event) break;
        cameras = split(event->value("list", ""), ';');
    }
    std::sort(cameras.begin(), cameras.end(), [](const std::string& a, const std::string& b) {
        return address_order(a) < address_order(b);
    });
    return cameras;
}

int run_scan(CommandContext& ctx, const Arguments& args) {
    const std::vector<std::string> cameras = find_cameras(ctx, args.scan_seconds);
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
        const CameraAddress camera = parse_camera_address(text);
        GetCameraSettings(camera.ip.c_str(), camera.port, false);
        GetCameraHealthAndUsage(camera.ip.c_str(), camera.port);
    }
    const auto started = std::chrono::steady_clock::now();
    const auto limit = std::chrono::milliseconds(static_cast<int>(args.duration * 1000));
    std::size_t shown = 0;
    while (!g_interrupted &&
           (args.duration <= 0 || std::chrono::steady_clock::now() - started < limit)) {
        for (const Event& event : ctx.events.since(shown)) {
            print_watched(ctx.out, event);
            ++shown;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    for (const Event& event : ctx.events.since(shown)) print_watched(ctx.out, event);
    return 0;
}

}  // namespace oscctl
