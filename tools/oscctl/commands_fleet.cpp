// scan, watch: commands about every camera the handler finds.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <sstream>
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

// With discovery limited to the static list, the scan is complete once every
// listed camera has answered; otherwise it runs for the whole window.
std::size_t expected_cameras() {
    const char* discovery = std::getenv("OSC_DISCOVERY");
    const char* listed = std::getenv("OSC_STATIC_CAMERAS");
    if (!discovery || std::string(discovery) != "static" || !listed) return 0;
    return split(listed, ',').size();
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
    const char* text = std::getenv("OSC_DISCOVERY_SECONDS");
    if (!text) return 5;
    char* end = nullptr;
    const double seconds = std::strtod(text, &end);
    return end != text && *end == '\0' && seconds > 0 ? seconds : 5;
}

std::vector<std::string> find_cameras(CommandContext& ctx, double seconds) {
    const std::size_t expected = expected_cameras();
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
