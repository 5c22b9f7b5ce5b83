#include "sim/commands.h"
#include "sim/option_catalog.h"

namespace oscsim {

using nlohmann::json;

namespace {

const char* const kGet = "camera.getOptions";
const char* const kSet = "camera.setOptions";

// Options computed from the camera rather than stored in the set.
json derived_option(const CameraState& state, const std::string& name) {
    if (name == "_imrxVersion") return {{"AST1220", state.ast1220_version}};
    return nullptr;
}

}  // namespace

Reply get_options(CommandContext& ctx, const json& parameters) {
    if (!parameters.contains("optionNames") || !parameters["optionNames"].is_array())
        return Reply::error(kGet, ErrorCode::MissingParameter, "optionNames is missing");
    json options = json::object();
    for (const json& n : parameters["optionNames"]) {
        if (!n.is_string())
            return Reply::error(kGet, ErrorCode::InvalidParameterValue, "option names are texts");
        const std::string name = n.get<std::string>();
        json value = derived_option(ctx.state, name);
        if (value.is_null()) {
            if (!ctx.state.options.contains(name) || !ctx.faults.knows(name))
                return Reply::error(kGet, ErrorCode::InvalidParameterName,
                                    "unknown option " + name);
            value = ctx.state.options[name];
        }
        options[name] = std::move(value);
    }
    return Reply::done(kGet, {{"options", options}});
}

Reply set_options(CommandContext& ctx, const json& parameters) {
    if (!parameters.contains("options") || !parameters["options"].is_object())
        return Reply::error(kSet, ErrorCode::MissingParameter, "options is missing");
    // All or nothing: a rejected option leaves every option as it was.
    json updated = ctx.state.options;
    for (const auto& [key, value] : parameters["options"].items()) {
        if (const auto error = apply_option(updated, key, value)) {
            const bool unknown = error->rfind("unknown option", 0) == 0;
            return Reply::error(
                kSet, unknown ? ErrorCode::InvalidParameterName : ErrorCode::InvalidParameterValue,
                *error);
        }
    }
    ctx.state.options = std::move(updated);
    Reply reply = Reply::done(kSet);
    const json& http = ctx.state.options["_servicePort"]["http"];
    if (http.is_number_integer() && http.get<int>() != ctx.port && http.get<int>() > 0 &&
        http.get<int>() <= 65535) {
        reply.move_http_port = http.get<int>();
    }
    return reply;
}

}  // namespace oscsim
