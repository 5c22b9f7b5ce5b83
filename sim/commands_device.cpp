// Device information, camera state and its fingerprint, live preview and
// reboot.
#include <chrono>
#include <cstdint>
#include <cstdio>

#include "sim/commands.h"

namespace oscsim {

using nlohmann::json;

namespace {

// The camera answers checkForUpdates at once, so it asks clients to wait
// this long before they ask again.
constexpr int kThrottleSeconds = 1;

bool omitted(const Faults& faults, const std::string& group) {
    return ("," + faults.omit_state_groups + ",").find("," + group + ",") != std::string::npos;
}

json state_members(CommandContext& ctx) {
    json s = {{"batteryLevel", 1.0}, {"storageUri", "/tmp"}};
    auto put = [&](const std::string& group, json value) {
        if (!omitted(ctx.faults, group)) s[group] = std::move(value);
    };
    put("imrxMode", ctx.state.options["_imrxMode"]);
    put("mode", json::array({ctx.state.streaming ? "inPreview" : "idle"}));
    put("ProcessList", {{"state", ctx.state.process_ok ? "OK" : "FAIL"}});
    put("CpuUsage", {{"CPU used", ctx.state.cpu_used}});
    put("MemoryUsage", {{"Total", ctx.state.memory_total}, {"used", ctx.state.memory_used}});
    return s;
}

// Changes whenever the state document changes (FNV-1a of its text).
std::string fingerprint(const json& state) {
    std::uint64_t hash = 14695981039346656037ull;
    for (const char c : state.dump()) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 1099511628211ull;
    }
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

}  // namespace

Reply device_info(CommandContext& ctx) {
    const auto up = std::chrono::duration_cast<std::chrono::seconds>(
        std::chrono::steady_clock::now() - ctx.state.booted);
    // "manufaturer" is the firmware's own spelling of the key.
    return Reply::document({{"manufaturer", ctx.state.manufacturer},
                            {"model", ctx.state.model},
                            {"serialNumber", ctx.state.serial},
                            {"_chipId", ctx.state.chip_id},
                            {"firmwareVersion", ctx.state.ast1220_version},
                            {"supportUrl", ""},
                            {"gps", false},
                            {"gyro", true},
                            {"uptime", up.count()},
                            {"api",
                             {"/osc/info", "/osc/state", "/osc/checkForUpdates",
                              "/osc/commands/execute", "/osc/commands/status"}},
                            {"endpoints", {{"httpPort", ctx.port}, {"httpUpdatesPort", ctx.port}}},
                            {"apiLevel", {2}}});
}

Reply camera_state(CommandContext& ctx, const json& body) {
    if (auto refused = refuse_members(body, kStateName, {})) return *refused;
    json s = state_members(ctx);
    return Reply::document({{"fingerprint", fingerprint(s)}, {"state", std::move(s)}});
}

// Answers at once, whatever waitTimeout asks: OSC allows it.
Reply check_for_updates(CommandContext& ctx, const json& body) {
    if (auto refused = refuse_members(body, kUpdatesName, {"stateFingerprint", "waitTimeout"}))
        return *refused;
    if (!body.contains("stateFingerprint"))
        return Reply::error(kUpdatesName, ErrorCode::MissingParameter,
                            "stateFingerprint is missing");
    if (!body["stateFingerprint"].is_string())
        return Reply::error(kUpdatesName, ErrorCode::InvalidParameterValue,
                            "stateFingerprint is not a text");
    const json wait = body.value("waitTimeout", json(0));
    if (!wait.is_number_integer() || wait.get<long long>() < 0)
        return Reply::error(kUpdatesName, ErrorCode::InvalidParameterValue,
                            "waitTimeout is not a number of seconds");
    return Reply::document({{"stateFingerprint", fingerprint(state_members(ctx))},
                            {"throttleTimeout", kThrottleSeconds}});
}

Reply start_live_preview(CommandContext& ctx, const json& parameters) {
    const auto action = text_parameter(parameters, "action", "start");
    if (action != "start" && action != "stop")
        return Reply::error("camera._getLivePreview", ErrorCode::InvalidParameterValue,
                            "action must be start or stop");
    ctx.state.streaming = action == "start";
    return Reply::done("camera._getLivePreview");
}

Reply stop_live_preview(CommandContext& ctx, const json&) {
    ctx.state.streaming = false;
    return Reply::done("camera._stopLivePreview");
}

Reply reboot(CommandContext& ctx, const json&) {
    if (ctx.state.updating)
        return Reply::error("camera._reboot", ErrorCode::DisabledCommand,
                            "firmware update running");
    Reply r = Reply::done("camera._reboot");
    r.reboot_after = true;
    return r;
}

}  // namespace oscsim
