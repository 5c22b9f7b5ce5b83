#include <map>

#include "sim/commands.h"

namespace oscsim {

using nlohmann::json;

namespace {

const CommandHandler* find_command(const std::string& name) {
    static const std::map<std::string, CommandHandler> table = {
        {"camera.getOptions", get_options},
        {"camera.setOptions", set_options},
        {"camera._cmdLine", command_line},
        {"camera._getLivePreview", start_live_preview},
        {"camera._stopLivePreview", stop_live_preview},
        {"camera.startCapture", start_capture},
        {"camera._reboot", reboot},
        {"camera._update", update_firmware},
    };
    const auto it = table.find(name);
    return it == table.end() ? nullptr : &it->second;
}

}  // namespace

Reply execute_command(CommandContext& ctx, const json& body) {
    if (!body.is_object())
        return Reply::error(kExecuteName, ErrorCode::InvalidParameterValue,
                            "the body is not a JSON object");
    if (!body.contains("name"))
        return Reply::error(kExecuteName, ErrorCode::MissingParameter, "name is missing");
    if (!body["name"].is_string())
        return Reply::error(kExecuteName, ErrorCode::InvalidParameterValue, "name is not a text");
    const std::string name = body["name"];
    const CommandHandler* handler = find_command(name);
    if (!handler) return Reply::error(name, ErrorCode::UnknownCommand, "unknown command " + name);
    const json parameters = body.value("parameters", json::object());
    if (!parameters.is_object())
        return Reply::error(name, ErrorCode::InvalidParameterValue, "parameters is not an object");
    return (*handler)(ctx, parameters);
}

std::optional<Reply> refuse_members(const json& body, const std::string& name,
                                    std::initializer_list<const char*> known) {
    if (!body.is_object())
        return Reply::error(name, ErrorCode::InvalidParameterValue,
                            "the body is not a JSON object");
    for (const auto& member : body.items()) {
        bool listed = false;
        for (const char* k : known) listed = listed || member.key() == k;
        if (!listed)
            return Reply::error(name, ErrorCode::InvalidParameterName,
                                "unknown parameter " + member.key());
    }
    return std::nullopt;
}

std::optional<std::string> text_parameter(const json& parameters, const char* key,
                                          const std::string& fallback) {
    if (!parameters.contains(key)) return fallback;
    if (!parameters[key].is_string()) return std::nullopt;
    return parameters[key].get<std::string>();
}

}  // namespace oscsim
