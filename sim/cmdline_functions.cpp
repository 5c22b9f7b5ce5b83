// The camera's command-line functions, reached through "camera._cmdLine".
#include <map>
#include <sstream>

#include "sim/commands.h"

namespace oscsim {

using nlohmann::json;

namespace {

const char* const kName = "camera._cmdLine";

using Function = json (*)(CommandContext&, const json& parameters);

json lines(std::initializer_list<std::string> l) {
    return {{"response", json(l)}};
}

json ethernet(CommandContext& ctx, const json&) {
    const json& n = ctx.state.options["_network"];
    return lines({n["mode"].get<std::string>(), n["address"].get<std::string>(),
                  n["mask"].get<std::string>(), n["gateway"].get<std::string>()});
}

json syslog(CommandContext& ctx, const json&) {
    const json& s = ctx.state.options["_syslog"];
    return lines({s["enable"].get<bool>() ? "1" : "0", std::to_string(s["port"].get<int>()),
                  s["server"].get<std::string>()});
}

json auth(CommandContext& ctx, const json&) {
    return lines({ctx.state.options["_authEnable"].get<bool>() ? "1" : "0"});
}

json qp_preview(CommandContext& ctx, const json&) {
    const json& p = ctx.state.options["_fileFormatPreview"][0];
    return lines({std::to_string(p["bitrate"].get<long long>() * 1000) + " " +
                  std::to_string(p["gop"].get<int>()) + " 22 45"});
}

json version_1220(CommandContext& ctx, const json&) {
    return lines({ctx.state.ast1220_version});
}

json versions(CommandContext& ctx, const json&) {
    return lines({ctx.state.ast1220_version, ctx.state.ast1235_version});
}

json process_list(CommandContext& ctx, const json&) {
    return {{"options",
             {{"ProcessList",
               {{"state", ctx.state.process_ok ? "OK" : "FAIL"},
                {"list", {"osc_server", "rtsp_server", "imrx_daemon"}}}}}}};
}

json usb_list(CommandContext& ctx, const json&) {
    return lines({"Bus 001 Device 002: ID 1d6b:0104 ast1235 " + ctx.state.model});
}

json cpu(CommandContext& ctx, const json&) {
    return {{"options", {{"CpuUsage", {{"CPU used", ctx.state.cpu_used}}}}}};
}

json memory(CommandContext& ctx, const json&) {
    return {
        {"options",
         {{"MemoryUsage", {{"Total", ctx.state.memory_total}, {"used", ctx.state.memory_used}}}}}};
}

json gyro(CommandContext& ctx, const json&) {
    if (!ctx.state.options["_gyro"].get<bool>()) return {{"response", json::array()}};
    return lines({"gyro 0.01 -0.02 0.00", "accel 0.00 0.00 9.81"});
}

json save(CommandContext& ctx, const json&) {
    ctx.state.saved_options = ctx.state.options;
    return lines({"saved"});
}

// A few commands answer like the camera's shell; everything else is unknown.
json shell(CommandContext& ctx, const json& parameters) {
    const std::string command = parameters.value("cmdLine", "");
    if (command == "ast_param g version:ruvo:version" ||
        command == "ast_param g version:all_firmware:version")
        return lines({"OEM_" + ctx.state.ast1220_version});
    if (command == "uptime") {
        const auto up = std::chrono::duration_cast<std::chrono::seconds>(
            std::chrono::steady_clock::now() - ctx.state.booted);
        return lines({"up " + std::to_string(up.count()) + " s"});
    }
    if (command.rfind("echo ", 0) == 0) return lines({command.substr(5)});
    std::istringstream words(command);
    std::string program;
    words >> program;
    return lines({"sh: " + program + ": not found"});
}

const std::map<std::string, Function>& functions() {
    static const std::map<std::string, Function> table = {
        {"GetEthernetSettings", ethernet},
        {"GetSyslogSettings", syslog},
        {"GetAuthEnable", auth},
        {"GetQpPreview", qp_preview},
        {"GetFwVer1220", version_1220},
        {"GetFwVer1220_1230", versions},
        {"GetProcessList", process_list},
        {"GetAst1230UsbList", usb_list},
        {"GetCpuUsage", cpu},
        {"GetMemoryUsage", memory},
        {"GetGyroAndAccel", gyro},
        {"AstParamRwSave", save},
        {"SendCmdLine", shell},
    };
    return table;
}

}  // namespace

Reply command_line(CommandContext& ctx, const json& parameters) {
    const std::string func = text_parameter(parameters, "func").value_or("");
    const auto it = functions().find(func);
    if (it == functions().end() || !ctx.faults.knows(func))
        return Reply::error(kName, ErrorCode::InvalidParameterValue, "unknown function " + func);
    if (!text_parameter(parameters, "cmdLine"))
        return Reply::error(kName, ErrorCode::InvalidParameterValue, "cmdLine is not a text");
    return Reply::document({{"name", kName},
                            {"state", "done"},
                            {"func", func},
                            {"results", it->second(ctx, parameters)}});
}

}  // namespace oscsim
