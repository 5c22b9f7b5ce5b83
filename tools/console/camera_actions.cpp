#include "tools/console/camera_actions.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>
#include <optional>

#include "IVeskOSCHandlerInst.h"
#include "host/settings_table.h"
#include "tools/console/access_policy.h"

namespace osconsole {

namespace {

using nlohmann::json;

struct Request {
    FleetStore& store;
    AuditLog& audit;
    const ActionRecord& record;
    const ActionView& camera;
    const ActionParams& params;
    const Actor& actor;
    const std::string& operation;
    const char* ip() const { return camera.address.ip.c_str(); }
    int port() const { return camera.address.port; }
    const std::string& name() const { return camera.address.ip; }
};

ActionOutcome refused(int status, std::string message) {
    return {status, std::move(message), ""};
}

// Noted before the operation is called: its answer may come at once.
template <typename Call>
ActionOutcome queue(const Request& r, Call call) {
    r.audit.queued(r.record, r.operation);
    r.store.apply(r.name(), ActionQueued{r.operation});
    call();
    return {202, "", r.operation};
}

// Refused while a parameter document is being fetched: its answers would
// overwrite the value before the setter sends it. The page tries again.
std::optional<ActionOutcome> busy(const oschost::Setting& setting, const Request& r) {
    if (r.camera.fetching)
        return refused(409, "the parameters of " + r.name() +
                                " are being read from the camera; try again in a moment");
    // A health answer carries the mode too, into the handler's record.
    if (setting.set == SetMode && r.camera.polling)
        return refused(409, r.name() + " is reporting its mode just now; try again in a moment");
    return std::nullopt;
}

std::optional<ActionOutcome> check_value(const oschost::Setting& setting, const Request& r) {
    const std::string name = setting.name;
    const int* value = std::get_if<int>(&r.params);
    if (!value) return refused(400, name + " needs an integer \"value\"");
    const json* document = r.camera.params ? &r.camera.params->parsed : nullptr;
    const oschost::RangeCheck check = oschost::check_range(setting, *value, document);
    if (check.verdict == oschost::RangeVerdict::Outside)
        return refused(400, name + " " + std::to_string(*value) + " is outside the range " +
                                std::to_string(check.range.min) + ".." +
                                std::to_string(check.range.max) + " of camera " + r.name());
    if (check.verdict == oschost::RangeVerdict::NotKnownYet)
        return refused(409, "the range of " + name + " on " + r.name() +
                                " is not known yet: its parameter document has not arrived");
    return std::nullopt;
}

ActionOutcome set_value(const oschost::Setting& setting, const Request& r) {
    if (const auto refusal = busy(setting, r)) return *refusal;
    return queue(r, [&] { setting.set(r.ip(), r.port(), std::get<int>(r.params)); });
}

// The source picture a layout is drawn on, "WxH".
std::string source_size(const json& layout) {
    return std::to_string(layout.value("srcWidth", 0)) + "x" +
           std::to_string(layout.value("srcHeight", 0));
}

// A layout from another camera, for this one: only in mode 2 or 3 (the
// handler drops it otherwise), and only for a source picture of its own size.
std::optional<ActionOutcome> check_roi(const Request& r) {
    const RoiLayout* roi = std::get_if<RoiLayout>(&r.params);
    if (!roi || !roi->layout.is_object())
        return refused(400, "roi needs a \"layout\" object, as \"_roi\" in a parameter document");
    const auto& params = r.camera.params;
    if (!params) return refused(409, "the layout of " + r.name() + " is not known yet");
    const int mode = params->mode.value_or(0);
    if (mode != 2 && mode != 3)
        return refused(400, "camera " + r.name() + " is in mode " + std::to_string(mode) +
                                "; an ROI layout needs mode 2 or 3");
    const json own = params->parsed.value("_roi", json::object());
    if (source_size(own) != source_size(roi->layout))
        return refused(400, "the layout is for a " + source_size(roi->layout) +
                                " picture; camera " + r.name() + " has " + source_size(own));
    return std::nullopt;
}

ActionOutcome set_roi(const Request& r) {
    const json& layout = std::get<RoiLayout>(r.params).layout;
    return queue(r, [&] { SetROI_Json(r.ip(), r.port(), layout.dump().c_str()); });
}

ActionOutcome start_stream(const Request& r) {
    return queue(r, [&] { StartStreaming(r.ip(), r.port()); });
}

ActionOutcome take_screenshot(const Request& r) {
    return queue(r, [&] { TakeScreenShot(r.ip(), r.port()); });
}

ActionOutcome reboot(const Request& r) {
    return queue(r, [&] { RebootCamera(r.ip(), r.port()); });
}

ActionOutcome refresh(const Request& r) {
    r.store.apply(r.name(), FetchStarted{});
    return queue(r, [&] { GetCameraSettings(r.ip(), r.port(), true); });
}

// A path on this host naming a regular file, or why not.
std::optional<std::string> file_problem(const std::string& path, const std::string& what) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return what + " " + path + " is not a file on this host";
    return std::nullopt;
}

std::optional<ActionOutcome> check_firmware(const Request& r) {
    const FirmwareFiles* files = std::get_if<FirmwareFiles>(&r.params);
    if (!files || (files->ast1220.empty() && files->ast1230.empty()))
        return refused(400, "firmware needs \"ast1220\" (a path) and/or \"ast1230\" (three paths)");
    // Whoever may reach the console from elsewhere must not make it send any
    // file it can read; a browser uploads its files instead.
    if (files->named_in_request && !is_loopback_host(r.actor.remote))
        return refused(403,
                       "firmware paths are taken only from this host (127.0.0.1); upload the "
                       "files with the page's rollout instead");
    if (!files->ast1230.empty() && files->ast1230.size() != 3)
        return refused(400, "ast1230 needs three paths: the update script and two files");
    if (!files->ast1220.empty())
        if (const auto problem = file_problem(files->ast1220, "ast1220"))
            return refused(400, *problem);
    for (const std::string& file : files->ast1230)
        if (const auto problem = file_problem(file, "ast1230")) return refused(400, *problem);
    return std::nullopt;
}

ActionOutcome update_firmware(const Request& r) {
    const FirmwareFiles& files = std::get<FirmwareFiles>(r.params);
    const std::string& image = files.ast1220;
    const auto& f = files.ast1230;
    if (f.empty()) return queue(r, [&] { Update1220Firmware(r.ip(), r.port(), image.c_str()); });
    if (image.empty())
        return queue(r, [&] {
            Update1230Firmware(r.ip(), r.port(), f[0].c_str(), f[1].c_str(), f[2].c_str());
        });
    return queue(r, [&] {
        UpdateFirmwareAll(r.ip(), r.port(), f[0].c_str(), f[1].c_str(), f[2].c_str(),
                          image.c_str());
    });
}

struct Action {
    const char* name;
    const char* operation;  // the exported operation it calls
    // What the camera's state refuses, before anything is called; may be null.
    std::optional<ActionOutcome> (*check)(const Request&);
    ActionOutcome (*run)(const Request&);
};

// Firmware's operation depends on its files (operation_of).
constexpr Action kActions[] = {
    {"stream", "StartStreaming", nullptr, start_stream},
    {"screenshot", "TakeScreenShot", nullptr, take_screenshot},
    {"reboot", "RebootCamera", nullptr, reboot},
    {"refresh", "GetCameraSettings", nullptr, refresh},
    {"firmware", "", check_firmware, update_firmware},
    {"roi", "SetROI", check_roi, set_roi},
};

const Action* find_action(const std::string& name) {
    const auto found = std::find_if(std::begin(kActions), std::end(kActions),
                                    [&](const Action& a) { return name == a.name; });
    return found == std::end(kActions) ? nullptr : found;
}

std::optional<int> integer_value(const json& body) {
    const auto value = body.find("value");
    if (value == body.end() || !value->is_number_integer()) return std::nullopt;
    const auto v = value->get<long long>();
    if (v < std::numeric_limits<int>::min() || v > std::numeric_limits<int>::max())
        return std::nullopt;
    return static_cast<int>(v);
}

// {"ast1220": "update.img"} and/or {"ast1230": ["script.sh", "a.bin", "b.bin"]}.
std::variant<FirmwareFiles, ActionOutcome> firmware_paths(const json& body) {
    FirmwareFiles files;
    files.named_in_request = true;
    const json image = body.value("ast1220", json());
    const json list = body.value("ast1230", json());
    if (!image.is_null()) {
        if (!image.is_string() || image.get<std::string>().empty())
            return refused(400, "ast1220 must be a file path");
        files.ast1220 = image.get<std::string>();
    }
    if (!list.is_null()) {
        if (!list.is_array() || list.size() != 3)
            return refused(400, "ast1230 needs three paths: the update script and two files");
        for (const json& path : list) {
            if (!path.is_string() || path.get<std::string>().empty())
                return refused(400, "ast1230 must be file paths");
            files.ast1230.push_back(path.get<std::string>());
        }
    }
    return files;
}

// The request's parameters as the audit log tells them: as a route's body has them.
json parameters_of(const ActionParams& params) {
    if (const int* value = std::get_if<int>(&params)) return {{"value", *value}};
    if (const auto* roi = std::get_if<RoiLayout>(&params)) return {{"layout", roi->layout}};
    json doc = json::object();
    if (const auto* files = std::get_if<FirmwareFiles>(&params)) {
        if (!files->ast1220.empty()) doc["ast1220"] = files->ast1220;
        if (!files->ast1230.empty()) doc["ast1230"] = files->ast1230;
    }
    return doc;
}

// Runs `then` on the request once the camera is known and the request passes
// its checks; the refusal otherwise, audited.
template <typename Then>
ActionOutcome checked(FleetStore& store, AuditLog& audit, const std::string& ip,
                      const ActionRequest& request, const Actor& actor, Then then) {
    const ActionRecord record{actor.remote, actor.role, ip, request.action,
                              parameters_of(request.params)};
    const auto outcome = [&]() -> ActionOutcome {
        if (actor.role != Role::Operator) return refused(403, "viewers may not act on cameras");
        const auto camera = store.action_view(ip);
        if (!camera) return refused(404, "no camera " + ip + " in this console");
        const std::string operation = operation_of(request);
        const Request r{store, audit, record, *camera, request.params, actor, operation};
        if (const oschost::Setting* setting = oschost::find_setting(request.action)) {
            if (const auto refusal = check_value(*setting, r)) return *refusal;
            return then(r, [&] { return set_value(*setting, r); });
        }
        const Action* action = find_action(request.action);
        if (!action) return refused(404, "no action " + request.action);
        if (action->check)
            if (const auto refusal = action->check(r)) return *refusal;
        return then(r, [&] { return action->run(r); });
    }();
    if (!outcome.queued()) audit.refused(record, outcome.status, outcome.message);
    return outcome;
}

// Bodies that are not JSON are kept in the audit this far.
constexpr std::size_t kMaxAuditedBody = 200;

}  // namespace

ActionOutcome run_action(FleetStore& store, AuditLog& audit, const std::string& ip,
                         const ActionRequest& request, const Actor& actor) {
    return checked(store, audit, ip, request, actor,
                   [](const Request&, auto run) { return run(); });
}

ActionOutcome run_action(FleetStore& store, AuditLog& audit, const std::string& ip,
                         const std::string& action, const std::string& body, const Actor& actor) {
    const json doc = body.empty() ? json::object() : json::parse(body, nullptr, false);
    auto request = parse_action(action, doc);
    if (const auto* request_ok = std::get_if<ActionRequest>(&request))
        return run_action(store, audit, ip, *request_ok, actor);
    const ActionOutcome& refusal = std::get<ActionOutcome>(request);
    const ActionRecord record{actor.remote, actor.role, ip, action,
                              doc.is_discarded() ? json(body.substr(0, kMaxAuditedBody)) : doc};
    audit.refused(record, refusal.status, refusal.message);
    return refusal;
}

std::optional<ActionOutcome> check_action(FleetStore& store, AuditLog& audit, const std::string& ip,
                                          const ActionRequest& request, const Actor& actor) {
    const ActionOutcome outcome =
        checked(store, audit, ip, request, actor, [](const Request& r, auto) {
            return ActionOutcome{202, "", r.operation};
        });
    if (outcome.queued()) return std::nullopt;
    return outcome;
}

std::string operation_of(const ActionRequest& request) {
    if (const oschost::Setting* setting = oschost::find_setting(request.action))
        return setting->command;
    if (const auto* files = std::get_if<FirmwareFiles>(&request.params)) {
        if (files->ast1230.empty()) return "Update1220Firmware";
        return files->ast1220.empty() ? "Update1230Firmware" : "UpdateFirmwareAll";
    }
    const Action* action = find_action(request.action);
    return action ? action->operation : "";
}

std::variant<ActionRequest, ActionOutcome> parse_action(const std::string& action,
                                                        const json& body) {
    if (body.is_discarded()) return refused(400, "the request body is not valid JSON");
    if (!body.is_object()) return refused(400, "the request body must be a JSON object");
    ActionRequest request{action, std::monostate{}};
    if (oschost::find_setting(action)) {
        const auto value = integer_value(body);
        if (!value) return refused(400, action + " needs an integer \"value\"");
        request.params = *value;
    } else if (action == "firmware") {
        auto files = firmware_paths(body);
        if (auto* refusal = std::get_if<ActionOutcome>(&files)) return *refusal;
        request.params = std::get<FirmwareFiles>(std::move(files));
    } else if (action == "roi") {
        request.params = RoiLayout{body.value("layout", json())};
    }
    return request;
}

}  // namespace osconsole
