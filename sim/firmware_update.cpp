// File uploads and the firmware update script, whose output the camera streams
// line by line while it runs.
#include <optional>

#include "IVeskOSCTexts.h"
#include "sim/commands.h"

namespace oscsim {

using nlohmann::json;

namespace {

const char* const kImage = "update.img";

std::string mismatch_message(const std::string& expected) {
    // The Q04932 script accepts its sibling module too and says so.
    const std::string modules = expected == "Q04932" ? "Q04932 or Q04937" : expected;
    return "Wrong camera ast1235 module detected, expected " + modules + ".";
}

std::string script_for(const std::string& model) {
    return "ast_update_1230_" + (model.size() > 1 ? model.substr(model.size() - 4) : model) + ".sh";
}

// The first reason the update cannot run, as the script reports it.
std::optional<std::string> precheck(const CameraState& state, const std::string& target,
                                    const std::string& model, const std::string& script) {
    auto missing = [&](const std::string& file) -> std::optional<std::string> {
        if (state.uploads.count(file) == 0) return file + " not found";
        return std::nullopt;
    };
    if (target == "1220") return missing(kImage);
    if (target == "1230") {
        if (model != state.model) return mismatch_message(model);
        return missing(script);
    }
    if (const auto m = missing(kImage)) return m;
    return missing(script_for(state.model));
}

void add_phase(std::vector<StreamLine>& lines, std::chrono::milliseconds step,
               const std::string& module) {
    lines.push_back({step, "[Fw Update Msg] Updating " + module + " firmware", nullptr});
    const std::pair<int, const char*> stages[] = {
        {0, "erasing"}, {25, "writing"}, {50, "writing"}, {75, "verifying"}, {100, "done"}};
    for (const auto& [progress, description] : stages) {
        json status = {{"progress", progress}, {"target", module}, {"description", description}};
        json doc = {{"name", "camera.getOptions"},
                    {"results", {{"options", {{"_updateStatus", status}}}}}};
        lines.push_back({step, "[FW updating] " + doc.dump(),
                         [status](CameraState& s) { s.options["_updateStatus"] = status; }});
    }
}

}  // namespace

Reply upload_file(CommandContext& ctx, const std::string& stored_name, const StoredFile& file) {
    ctx.state.uploads[stored_name] = file;
    // The camera writes this line itself; it is not JSON (the name is bare).
    return Reply::text(
        "{\"name\": \"camera.uploadfile\",\"func\": \"UploadFile\",\"results\": "
        "{\"options\": {\"uploadfile\": " +
        stored_name + "}},\"state\": \"done\"}");
}

Reply update_firmware(CommandContext& ctx, const json& parameters) {
    const char* const name = "camera._update";
    const auto target = text_parameter(parameters, "target");
    if (target != "1220" && target != "1230" && target != "all")
        return Reply::error(name, ErrorCode::InvalidParameterValue,
                            "target must be 1220, 1230 or all");
    const auto model = text_parameter(parameters, "model");
    const auto script = model ? text_parameter(parameters, "script", script_for(*model)) : model;
    if (!script)
        return Reply::error(name, ErrorCode::InvalidParameterValue, "model and script are texts");
    if (ctx.state.updating)
        return Reply::error(name, ErrorCode::DisabledCommand, "an update is already running");

    Reply r = Reply::text("");
    const auto step = ctx.config.update_step;
    std::optional<std::string> failure = precheck(ctx.state, *target, *model, *script);
    if (!failure && ctx.faults.fail_update == "hw") failure = "Old Version of HW";
    if (!failure && ctx.faults.fail_update == "upload") failure = "Upload Failed";
    if (failure) {
        r.stream.push_back({step, "[FW update next] " + *failure, nullptr});
        return r;
    }
    ctx.state.updating = true;
    if (*target != "1220") add_phase(r.stream, step, "AST1235");
    if (*target != "1230") add_phase(r.stream, step, "AST1220");
    r.stream.push_back({step, osc_texts::kFirmwareUpdateEnd, nullptr});
    return r;
}

}  // namespace oscsim
