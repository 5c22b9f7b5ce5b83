// The subcommands. Each returns the process exit status or throws a
// CommandFailure.
#pragma once

#include <string>
#include <vector>

#include "tools/oscctl/command_context.h"

namespace oscctl {

// How long scan and --all listen by default: the client library's browse
// window (OSC_DISCOVERY_SECONDS, 5 s unless set).
double default_scan_seconds();

// Every argument any subcommand takes; the command table binds them.
struct Arguments {
    std::string camera;
    bool force = false;
    std::string setting;
    int value = 0;
    int mode = -1;  // -1: only show it
    std::string action;
    std::string size;
    std::string encode;  // empty: width and height only
    int fps = 30;
    int bitrate = 8000;
    int gop = 30;
    std::string roi_file;
    std::string svg_file;
    std::string fw1220;
    std::vector<std::string> fw1230;
    bool both_modules = false;
    bool all_cameras = false;          // help text only; see move_fleet_flag
    std::vector<std::string> network;  // "static ADDR GW MASK" or "dhcp"
    int http_port = 0;
    int https_port = 0;
    int rtsp_port = 0;
    std::string server;
    int server_port = 0;
    bool stored = false;
    bool wait = false;
    std::string output_file;
    bool save_picture = false;
    double duration = 0;
    double scan_seconds = default_scan_seconds();
    std::vector<std::string> cameras;
};

// Settings and picture (commands_picture.cpp)
int run_settings(CommandContext& ctx, const Arguments& args);
int run_get(CommandContext& ctx, const Arguments& args);
int run_set(CommandContext& ctx, const Arguments& args);
int run_mode(CommandContext& ctx, const Arguments& args);
int run_stream(CommandContext& ctx, const Arguments& args);
int run_preview(CommandContext& ctx, const Arguments& args);
int run_flip(CommandContext& ctx, const Arguments& args);
int run_roi(CommandContext& ctx, const Arguments& args);
// Firmware (commands_firmware.cpp)
int run_update(CommandContext& ctx, const Arguments& args);
int run_progress(CommandContext& ctx, const Arguments& args);
// Network and system (commands_system.cpp)
int run_network(CommandContext& ctx, const Arguments& args);
int run_ports(CommandContext& ctx, const Arguments& args);
int run_syslog(CommandContext& ctx, const Arguments& args);
int run_auth(CommandContext& ctx, const Arguments& args);
int run_gyro(CommandContext& ctx, const Arguments& args);
int run_health(CommandContext& ctx, const Arguments& args);
int run_version(CommandContext& ctx, const Arguments& args);
int run_save(CommandContext& ctx, const Arguments& args);
int run_reboot(CommandContext& ctx, const Arguments& args);
int run_screenshot(CommandContext& ctx, const Arguments& args);
int run_remove(CommandContext& ctx, const Arguments& args);
// Fleet (commands_fleet.cpp)
int run_scan(CommandContext& ctx, const Arguments& args);
int run_watch(CommandContext& ctx, const Arguments& args);
// The cameras the handler finds within `seconds` (sooner when every camera of
// a static list has answered), sorted by address.
std::vector<CameraAddress> find_cameras(CommandContext& ctx, double seconds);

// "on"/"off" to bool; throws CommandFailure otherwise.
bool parse_switch(const std::string& text);

}  // namespace oscctl
