#include "tools/console/camera_actions.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>
#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

#include "IVeskOSCHandlerInst.h"
#include "host/settings_table.h"

namespace osconsole {

namespace {

using nlohmann::json;

struct Request {
    FleetStore& store;
    AuditLog& audit;
    const ActionRecord& record;
    const ActionView& camera;
    const json& body;
    const char* ip() const { return camera.address.ip.c_str(); }
    int port() const { return camera.address.port; }
};

// Noted before the operation is called: its answer may come at once.
ActionOutcome queued(const Request& r, const std::string& operation) {
    r.audit.queued(r.record, operation);
    r.store.apply(r.ip(), ActionQueued{operation});
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

// Refused while a parameter document is being fetched: its answers would
// overwrite the value before the setter sends it. The page tries again.
std::optional<ActionOutcome> busy(const oschost::Setting& setting, const Request& r) {
    if (r.camera.fetching)
        return refused(409, "the parameters of " + r.camera.address.ip +
                                " are being read from the camera; try again in a moment");
    // A health answer carries the mode too, into the handler's record.
    if (setting.set == SetMode && r.camera.polling)
        return refused(
            409, r.camera.address.ip + " is reporting its mode just now; try again in a moment");
    return std::nullopt;
}

ActionOutcome set_value(const oschost::Setting& setting, const Request& r) {
    const std::string name = setting.name;
    const auto value = integer_value(r.body);
    if (!value) return refused(400, name + " needs an integer \"value\"");
    const nlohmann::json* document = r.camera.params ? &r.camera.params->parsed : nullptr;
    const oschost::RangeCheck check = oschost::check_range(setting, *value, document);
    if (check.verdict == oschost::RangeVerdict::Outside)
        return refused(
            400, name + " " + std::to_string(*value) + " is outside the camera's range " +
                     std::to_string(check.range.min) + ".." + std::to_string(check.range.max));
    if (const auto refusal = busy(setting, r)) return *refusal;
    if (check.verdict == oschost::RangeVerdict::NotKnownYet)
        return refused(409, "the range of " + name + " on " + r.camera.address.ip +
                                " is not known yet: its parameter document has not arrived");
    const ActionOutcome outcome = queued(r, setting.command);
    setting.set(r.ip(), r.port(), *value);
    return outcome;
}

ActionOutcome start_stream(const Request& r) {
    const ActionOutcome outcome = queued(r, "StartStreaming");
    StartStreaming(r.ip(), r.port());
    return outcome;
}

ActionOutcome take_screenshot(const Request& r) {
    const ActionOutcome outcome = queued(r, "TakeScreenShot");
    TakeScreenShot(r.ip(), r.port());
    return outcome;
}

ActionOutcome reboot(const Request& r) {
    const ActionOutcome outcome = queued(r, "RebootCamera");
    RebootCamera(r.ip(), r.port());
    return outcome;
}

ActionOutcome refresh(const Request& r) {
    r.store.apply(r.ip(), FetchStarted{});
    const ActionOutcome outcome = queued(r, "GetCameraSettings");
    GetCameraSettings(r.ip(), r.port(), true);
    return outcome;
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
    const char* ip = r.ip();
    if (files.is_null()) {
        const ActionOutcome outcome = queued(r, "Update1220Firmware");
        Update1220Firmware(ip, r.port(), image.get<std::string>().c_str());
        return outcome;
    }
    const std::string f1 = files[0], f2 = files[1], f3 = files[2];
    if (image.is_null()) {
        const ActionOutcome outcome = queued(r, "Update1230Firmware");
        Update1230Firmware(ip, r.port(), f1.c_str(), f2.c_str(), f3.c_str());
        return outcome;
    }
    const ActionOutcome outcome = queued(r, "UpdateFirmwareAll");
    UpdateFirmwareAll(ip, r.port(), f1.c_str(), f2.c_str(), f3.c_str(),
                      image.get<std::string>().c_str());
    return outcome;
}

struct Action {
    const char* name;
    ActionOutcome (*run)(const Request&);
};

constexpr Action kActions[] = {
    {"stream", start_stream}, {"screenshot", take_screenshot}, {"reboot", reboot},
    {"refresh", refresh},     {"firmware", update_firmware},
};

// Bodies that are not JSON are kept in the audit this far.
constexpr std::size_t kMaxAuditedBody = 200;

ActionOutcome dispatch(FleetStore& store, AuditLog& audit, ActionRecord& record,
                       const std::string& body) {
    const auto camera = store.action_view(record.camera);
    const json doc = body.empty() ? json::object() : json::parse(body, nullptr, false);
    record.parameters = doc.is_discarded() ? json(body.substr(0, kMaxAuditedBody)) : doc;
    if (!camera) return refused(404, "no camera " + record.camera + " in this console");
    if (doc.is_discarded()) return refused(400, "the request body is not valid JSON");
    if (!doc.is_object()) return refused(400, "the request body must be a JSON object");
    const Request request{store, audit, record, *camera, doc};

    const std::string& action = record.action;
    if (const oschost::Setting* setting = oschost::find_setting(action))
        return set_value(*setting, request);
    const auto other = std::find_if(std::begin(kActions), std::end(kActions),
                                    [&](const Action& a) { return action == a.name; });
    if (other != std::end(kActions)) return other->run(request);
    return refused(404, "no action " + action);
}

}  // namespace

ActionOutcome run_action(FleetStore& store, AuditLog& audit, const std::string& ip,
                         const std::string& action, const std::string& body, const Actor& actor) {
    ActionRecord record{actor.remote, actor.role, ip, action, nullptr};
    const ActionOutcome outcome = dispatch(store, audit, record, body);
    if (outcome.status >= 400) audit.refused(record, outcome.status, outcome.message);
    return outcome;
}

}  // namespace osconsole
