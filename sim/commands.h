// Command handlers of the simulated camera. Each runs with the camera's state
// locked and returns at once; anything that takes time is a reply stream.
#pragma once

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "sim/camera_state.h"
#include "sim/reply.h"
#include "sim/sim_config.h"

namespace oscsim {

struct CommandContext {
    CameraState& state;
    const SimConfig& config;
    const Faults& faults;
    std::string host;
    int port;
};

using CommandHandler = std::function<Reply(CommandContext&, const nlohmann::json& parameters)>;

// The "name" of error documents of requests other than execute commands.
inline const char* const kInfoName = "camera.info";
inline const char* const kStateName = "camera.state";
inline const char* const kUpdatesName = "camera.checkForUpdates";
inline const char* const kStatusName = "camera.commands.status";
inline const char* const kExecuteName = "camera.commands.execute";

// command_table.cpp
// Runs {"name": ..., "parameters": {...}}: the command's answer, or the
// refusal of a body without a known command or with parameters that are not
// an object.
Reply execute_command(CommandContext& ctx, const nlohmann::json& body);
// The refusal of a request body that is not an object or has a member not
// in `known`; nothing when the body is fine.
std::optional<Reply> refuse_members(const nlohmann::json& body, const std::string& name,
                                    std::initializer_list<const char*> known);
// A text parameter: its value, `fallback` when it is absent, nothing when it
// is there but not a text.
std::optional<std::string> text_parameter(const nlohmann::json& parameters, const char* key,
                                          const std::string& fallback = "");

// commands_options.cpp
Reply get_options(CommandContext& ctx, const nlohmann::json& parameters);
Reply set_options(CommandContext& ctx, const nlohmann::json& parameters);

// cmdline_functions.cpp
Reply command_line(CommandContext& ctx, const nlohmann::json& parameters);

// commands_device.cpp
Reply device_info(CommandContext& ctx);
Reply camera_state(CommandContext& ctx, const nlohmann::json& body);
Reply check_for_updates(CommandContext& ctx, const nlohmann::json& body);
Reply start_live_preview(CommandContext& ctx, const nlohmann::json& parameters);
Reply stop_live_preview(CommandContext& ctx, const nlohmann::json& parameters);
Reply reboot(CommandContext& ctx, const nlohmann::json& parameters);

// commands_capture.cpp
Reply start_capture(CommandContext& ctx, const nlohmann::json& parameters);
Reply command_status(CommandContext& ctx, const nlohmann::json& body);

// firmware_update.cpp
Reply upload_file(CommandContext& ctx, const std::string& stored_name, const StoredFile& file);
Reply update_firmware(CommandContext& ctx, const nlohmann::json& parameters);

}  // namespace oscsim
