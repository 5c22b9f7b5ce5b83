// Command handlers of the simulated camera. Each runs with the camera's state
// locked and returns at once; anything that takes time is a reply stream.
#pragma once

#include <functional>
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

// The handler of an execute command, or null for an unknown name.
const CommandHandler* find_command(const std::string& name);

// commands_options.cpp
Reply get_options(CommandContext& ctx, const nlohmann::json& parameters);
Reply set_options(CommandContext& ctx, const nlohmann::json& parameters);

// cmdline_functions.cpp
Reply command_line(CommandContext& ctx, const nlohmann::json& parameters);

// commands_device.cpp
Reply device_info(CommandContext& ctx);
Reply camera_state(CommandContext& ctx);
Reply command_status(CommandContext& ctx, const nlohmann::json& body);
Reply start_live_preview(CommandContext& ctx, const nlohmann::json& parameters);
Reply stop_live_preview(CommandContext& ctx, const nlohmann::json& parameters);
Reply start_capture(CommandContext& ctx, const nlohmann::json& parameters);
Reply reboot(CommandContext& ctx, const nlohmann::json& parameters);

// firmware_update.cpp
Reply upload_file(CommandContext& ctx, const std::string& stored_name, std::size_t size);
Reply update_firmware(CommandContext& ctx, const nlohmann::json& parameters);

}  // namespace oscsim
