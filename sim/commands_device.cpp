// Device information, camera state, live preview, capture and reboot.
#include <chrono>

#include "sim/commands.h"

namespace oscsim {

using nlohmann::json;

namespace {

bool omitted(const Faults& faults, const std::string& group) {
    return ("," + faults.omit_state_groups + ",").find("," + group + ",") != std::string::npos;
}

}  // namespace

Reply device_info(CommandContext& ctx) {
    const auto up = std::chrono::duration_cast<std::chrono::seconds>(
        std::chrono::steady_clock::now() - ctx.state.booted);
    // "manufaturer" is the firmware's own spelling of the key.
    return Reply::document(
        {{"manufaturer", ctx.state.manufacturer},
         {"model", ctx.state.model},
         {"serialNumber", ctx.state.serial},
         {"_chipId", ctx.state.chip_id},
         {"firmwareVersion", ctx.state.ast1220_version},
         {"supportUrl", ""},
         {"gps", false},
         {"gyro", true},
         {"uptime", up.count()},
         {"api", {"/osc/info", "/osc/state", "/osc/commands/execute", "/osc/commands/status"}},
         {"endpoints", {{"httpPort", ctx.port}, {"httpUpdatesPort", ctx.port}}},
         {"apiLevel", {2}}});
}

Reply camera_state(CommandContext& ctx) {
    json s = {{"batteryLevel", 1.0}, {"storageUri", "/tmp"}};
    auto put = [&](const std::string& group, json value) {
        if (!omitted(ctx.faults, group)) s[group] = std::move(value);
    };
    put("imrxMode", ctx.state.options["_imrxMode"]);
    put("mode", json::array({ctx.state.streaming ? "inPreview" : "idle"}));
    put("ProcessList", {{"state", ctx.state.process_ok ? "OK" : "FAIL"}});
    put("CpuUsage", {{"CPU used", ctx.state.cpu_used}});
    put("MemoryUsage", {{"Total", ctx.state.memory_total}, {"used", ctx.state.memory_used}});
    return Reply::document(
        {{"fingerprint", "FIG_" + std::to_string(ctx.state.reboots)}, {"state", s}});
}

Reply command_status(CommandContext& ctx, const json& body) {
    const char* const name = "camera.startCapture";
    const std::string id = body.is_object() ? body.value("id", "") : "";
    const auto it = ctx.state.captures.find(id);
    if (it == ctx.state.captures.end())
        return Reply::error(400, name, "invalidParameterValue", "unknown command id " + id);
    const auto elapsed = std::chrono::steady_clock::now() - it->second.started;
    if (elapsed < ctx.config.capture_time) {
        const double completion = std::chrono::duration<double>(elapsed) /
                                  std::chrono::duration<double>(ctx.config.capture_time);
        return Reply::document({{"name", name},
                                {"state", "inProgress"},
                                {"id", id},
                                {"progress", {{"completion", completion}}}});
    }
    const std::string url =
        "http://" + ctx.host + ":" + std::to_string(ctx.port) + "/tmp/capture" + id + ".jpeg";
    return Reply::document(
        {{"name", name}, {"state", "done"}, {"id", id}, {"results", {{"fileUrl", url}}}});
}

Reply start_live_preview(CommandContext& ctx, const json& parameters) {
    const std::string action = parameters.value("action", "start");
    if (action != "start" && action != "stop")
        return Reply::error(400, "camera._getLivePreview", "invalidParameterValue",
                            "action must be start or stop");
    ctx.state.streaming = action == "start";
    return Reply::done("camera._getLivePreview");
}

Reply stop_live_preview(CommandContext& ctx, const json&) {
    ctx.state.streaming = false;
    return Reply::done("camera._stopLivePreview");
}

Reply start_capture(CommandContext& ctx, const json&) {
    const int number = ctx.state.next_capture_id++;
    const std::string id = std::to_string(number);
    ctx.state.captures[id] = Capture{std::chrono::steady_clock::now()};
    // Like a camera's storage, the pictures kept are the latest few.
    ctx.state.captures.erase(std::to_string(number - kKeptCaptures));
    return Reply::document({{"name", "camera.startCapture"},
                            {"state", "inProgress"},
                            {"id", id},
                            {"progress", {{"completion", 0.0}}}});
}

Reply reboot(CommandContext& ctx, const json&) {
    if (ctx.state.updating)
        return Reply::error(400, "camera._reboot", "disabledCommand", "firmware update running");
    Reply r = Reply::done("camera._reboot");
    r.reboot_after = true;
    return r;
}

}  // namespace oscsim
