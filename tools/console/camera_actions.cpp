#include "tools/console/camera_actions.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>
#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

#include "IVeskOSCHandlerInst.h"

namespace osconsole {

namespace {

using nlohmann::json;

struct Request {
    FleetState& state;
    const std::string& ip;
    int port;
    const json& body;
};

ActionOutcome queued(const std::string& operation) {
    return {202, operation};
}

ActionOutcome refused(int status, std::string message) {
    return {status, std::move(message)};
}

std::optional<int> integer_value(const json& body) {
    const auto value = body.find("value");
    if (value == body.end() || !value->is_number_integer()) return std::nullopt;
    const auto v = value->get<long long>();
    if (v < std::numeric_limits<int>::min() || v > std::numeric_limits<int>::max())
        return std::nullopt;
    return static_cast<int>(v);
}

// Settings whose range the camera states in its parameter document as
// "<key>_min" and "<key>_max".
struct RangedSetting {
    const char* action;
    const char* key;
    const char* operation;
    void (*call)(const char* ip, int port, int value);
};

constexpr RangedSetting kRangedSettings[] = {
    {"brightness", "brightness", "SetBrightness", SetBrightness},
    {"contrast", "contrast", "SetContrast", SetContrast},
    {"saturation", "saturation", "SetSaturation", SetSaturation},
    {"sharpness", "sharpness", "SetSharpness", SetSharpness},
    {"awb", "awb", "SetAWB", SetAWB},
    {"autoawb", "autoawb", "SetAutoAWB", SetAutoAWB},
};

// Refused while a parameter document is being fetched: its answers would
// overwrite the value before the setter sends it. The page tries again.
std::optional<ActionOutcome> busy_fetching(const Request& r) {
    if (!r.state.fetching(r.ip)) return std::nullopt;
    return refused(409, "the parameters of " + r.ip +
                            " are being read from the camera; try again in a moment");
}

ActionOutcome set_ranged(const RangedSetting& setting, const Request& r) {
    const auto value = integer_value(r.body);
    if (!value) return refused(400, std::string(setting.action) + " needs an integer \"value\"");
    if (const auto busy = busy_fetching(r)) return *busy;
    const auto range = r.state.advertised_range(r.ip, setting.key);
    if (!range)
        return refused(409, "the range of " + std::string(setting.action) + " on " + r.ip +
                                " is not known yet: its parameter document has not arrived");
    if (*value < range->min || *value > range->max)
        return refused(400, std::string(setting.action) + " " + std::to_string(*value) +
                                " is outside the camera's range " + std::to_string(range->min) +
                                ".." + std::to_string(range->max));
    setting.call(r.ip.c_str(), r.port, *value);
    return queued(setting.operation);
}

// The camera's stream modes (its "_imrxMode" option); the parameter document
// states no range for them.
constexpr int kModeMin = 0;
constexpr int kModeMax = 3;

ActionOutcome set_mode(const Request& r) {
    const auto mode = integer_value(r.body);
    if (!mode || *mode < kModeMin || *mode > kModeMax)
        return refused(400, "mode needs an integer \"value\" from 0 to 3");
    if (const auto busy = busy_fetching(r)) return *busy;
    // A health answer carries the mode too.
    if (r.state.polling(r.ip))
        return refused(409, r.ip + " is reporting its mode just now; try again in a moment");
    SetMode(r.ip.c_str(), r.port, *mode);
    return queued("SetMode");
}

ActionOutcome start_stream(const Request& r) {
    StartStreaming(r.ip.c_str(), r.port);
    return queued("StartStreaming");
}

ActionOutcome take_screenshot(const Request& r) {
    TakeScreenShot(r.ip.c_str(), r.port);
    return queued("TakeScreenShot");
}

ActionOutcome reboot(const Request& r) {
    r.state.reboot_requested(r.ip);
    RebootCamera(r.ip.c_str(), r.port);
    return queued("RebootCamera");
}

ActionOutcome refresh(const Request& r) {
    r.state.fetch_started(r.ip);
    GetCameraSettings(r.ip.c_str(), r.port, true);
    return queued("GetCameraSettings");
}

// A path on this host naming a readable regular file, or why not.
std::optional<std::string> file_problem(const json& path, const std::string& what) {
    if (!path.is_string() || path.get<std::string>().empty()) return what + " must be a file path";
    std::error_code error;
    if (!std::filesystem::is_regular_file(path.get<std::string>(), error))
        return what + " " + path.get<std::string>() + " is not a file on this host";
    return std::nullopt;
}

// {"ast1220": "update.img"} and/or {"ast1230": ["script.sh", "a.bin", "b.bin"]}.
ActionOutcome update_firmware(const Request& r) {
    const json image = r.body.value("ast1220", json());
    const json files = r.body.value("ast1230", json());
    if (image.is_null() && files.is_null())
        return refused(400, "firmware needs \"ast1220\" (a path) and/or \"ast1230\" (three paths)");
    if (!image.is_null())
        if (const auto problem = file_problem(image, "ast1220")) return refused(400, *problem);
    if (!files.is_null()) {
        if (!files.is_array() || files.size() != 3)
            return refused(400, "ast1230 needs three paths: the update script and two files");
        for (const json& file : files)
            if (const auto problem = file_problem(file, "ast1230")) return refused(400, *problem);
    }
    r.state.update_started(r.ip);
    const char* ip = r.ip.c_str();
    if (files.is_null()) {
        Update1220Firmware(ip, r.port, image.get<std::string>().c_str());
        return queued("Update1220Firmware");
    }
    const std::string f1 = files[0], f2 = files[1], f3 = files[2];
    if (image.is_null()) {
        Update1230Firmware(ip, r.port, f1.c_str(), f2.c_str(), f3.c_str());
        return queued("Update1230Firmware");
    }
    UpdateFirmwareAll(ip, r.port, f1.c_str(), f2.c_str(), f3.c_str(),
                      image.get<std::string>().c_str());
    return queued("UpdateFirmwareAll");
}

struct Action {
    const char* name;
    ActionOutcome (*run)(const Request&);
};

constexpr Action kActions[] = {
    {"mode", set_mode}, {"stream", start_stream}, {"screenshot", take_screenshot},
    {"reboot", reboot}, {"refresh", refresh},     {"firmware", update_firmware},
};

}  // namespace

ActionOutcome run_action(FleetState& state, const std::string& ip, const std::string& action,
                         const std::string& body) {
    const auto port = state.port_of(ip);
    if (!port) return refused(404, "no camera " + ip + " in this console");
    const json doc = body.empty() ? json::object() : json::parse(body, nullptr, false);
    if (doc.is_discarded()) return refused(400, "the request body is not valid JSON");
    if (!doc.is_object()) return refused(400, "the request body must be a JSON object");
    const Request request{state, ip, *port, doc};

    const auto ranged = std::find_if(std::begin(kRangedSettings), std::end(kRangedSettings),
                                     [&](const RangedSetting& s) { return action == s.action; });
    if (ranged != std::end(kRangedSettings)) return set_ranged(*ranged, request);
    const auto other = std::find_if(std::begin(kActions), std::end(kActions),
                                    [&](const Action& a) { return action == a.name; });
    if (other != std::end(kActions)) return other->run(request);
    return refused(404, "no action " + action);
}

}  // namespace osconsole
