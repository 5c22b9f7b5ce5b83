#include "client/client_options.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace oscclient {

namespace {

std::string env(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

long env_number(const char* name, long fallback, long min, long max) {
    const std::string text = env(name);
    if (text.empty()) return fallback;
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0') return fallback;
    return std::clamp(v, min, max);
}

}  // namespace

ClientOptions ClientOptions::from_environment() {
    ClientOptions o;
    o.user = env("OSC_CAMERA_USER");
    o.password = env("OSC_CAMERA_PASSWORD");
    o.static_cameras = env("OSC_STATIC_CAMERAS");
    o.dns_sd = env("OSC_DISCOVERY") != "static";
    o.browse_window = std::chrono::seconds(env_number("OSC_DISCOVERY_SECONDS", 5, 1, 60));
    o.connect_timeout = std::chrono::milliseconds(
        env_number("OSC_CONNECT_TIMEOUT_MS", o.connect_timeout.count(), 50, 60000));
    o.request_timeout = std::chrono::milliseconds(
        env_number("OSC_REQUEST_TIMEOUT_MS", o.request_timeout.count(), 50, 600000));
    return o;
}

}  // namespace oscclient
