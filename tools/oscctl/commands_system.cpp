// network, ports, syslog, auth, gyro, health, version, save, reboot,
// screenshot, remove.
#include <filesystem>
#include <fstream>

#include <fmt/format.h>
#include <httplib.h>

#include "IVeskOSCHandlerInst.h"
#include "tools/oscctl/commands.h"

namespace oscctl {

namespace {

void print_health(CommandContext& ctx, const oschost::HealthReport& health) {
    if (ctx.out.json()) {
        ctx.out.document(*event_json(health));
        return;
    }
    ctx.out.raw(format_table({
        {"camera", ctx.camera.text()},
        {"process", health.process_ok ? "ok" : "FAILED"},
        {"cpu", fmt::format("{:.1f} %", health.cpu_usage)},
        {"memory", fmt::format("{:.1f} %", health.memory_usage)},
        {"preview", health.in_preview ? "running" : "stopped"},
        {"mode", std::to_string(health.mode)},
    }));
}

// The camera names its picture "http://IP/tmp/captureN.jpeg", without the
// port; the address a user can open carries the camera's port.
std::string with_port(const CameraAddress& camera, const std::string& address) {
    const auto host_start = address.find("//");
    if (host_start == std::string::npos) return address;
    const auto path_start = address.find('/', host_start + 2);
    const std::string host = address.substr(host_start + 2, path_start - host_start - 2);
    if (host.find(':') != std::string::npos) return address;
    return address.substr(0, host_start + 2) + host + ":" + std::to_string(camera.port) +
           (path_start == std::string::npos ? "" : address.substr(path_start));
}

// The picture at an address with_port made.
std::string download(const std::string& address) {
    const auto host_start = address.find("//");
    const auto path_start =
        host_start == std::string::npos ? host_start : address.find('/', host_start + 2);
    if (path_start == std::string::npos) throw CommandFailure("bad picture address " + address);
    const CameraAddress camera =
        oschost::parse_camera_address(address.substr(host_start + 2, path_start - host_start - 2));
    httplib::Client client(camera.ip, camera.port);
    client.set_connection_timeout(2);
    client.set_read_timeout(10);
    auto response = client.Get(address.substr(path_start));
    if (!response || response->status != 200) throw CommandFailure("cannot download " + address);
    return response->body;
}

}  // namespace

int run_network(CommandContext& ctx, const Arguments& args) {
    const auto& words = args.network;
    const char* request = nullptr;
    if (words.size() == 4 && words[0] == "static") {
        SetStaticIP(ctx.camera.ip.c_str(), ctx.camera.port, words[1].c_str(), words[2].c_str(),
                    words[3].c_str());
        request = osc_texts::kQueuedSetStaticIp;
    } else if (words.size() == 1 && words[0] == "dhcp") {
        SetDHCP(ctx.camera.ip.c_str(), ctx.camera.port);
        request = osc_texts::kQueuedSetDhcp;
    } else {
        throw CommandFailure("network takes 'static ADDRESS GATEWAY MASK' or 'dhcp'");
    }
    ctx.await_answer(request, "the network change");
    ctx.report_done("network " + words[0]);
    return 0;
}

int run_ports(CommandContext& ctx, const Arguments& args) {
    SetCameraPorts(ctx.camera.ip.c_str(), ctx.camera.port, args.http_port, args.https_port,
                   args.rtsp_port);
    ctx.await_result("SetCameraPorts");
    ctx.report_done(fmt::format("ports {} {} {}", args.http_port, args.https_port, args.rtsp_port));
    return 0;
}

int run_syslog(CommandContext& ctx, const Arguments& args) {
    SetSyslogEnable(ctx.camera.ip.c_str(), ctx.camera.port, args.server.c_str(), args.server_port,
                    parse_switch(args.action) ? 1 : 0);
    ctx.await_result("SetSyslogEnable");
    ctx.report_done("syslog " + args.action);
    return 0;
}

int run_auth(CommandContext& ctx, const Arguments& args) {
    EnableAuth(ctx.camera.ip.c_str(), ctx.camera.port, parse_switch(args.action));
    ctx.await_result("EnableAuth");
    ctx.report_done("auth " + args.action);
    return 0;
}

int run_gyro(CommandContext& ctx, const Arguments& args) {
    if (args.action != "read") {
        EnableGyro(ctx.camera.ip.c_str(), ctx.camera.port, parse_switch(args.action));
        ctx.await_result("EnableGyro");
        ctx.report_done("gyro " + args.action);
        return 0;
    }
    GetGyroAndAccel(ctx.camera.ip.c_str(), ctx.camera.port);
    const oschost::CommandResult result = ctx.await_result("GetGyroAndAccel");
    if (ctx.out.json())
        ctx.out.document(*event_json(result));
    else
        ctx.out.line(fmt::format("{}: {}", ctx.camera.text(), result.message));
    return 0;
}

int run_health(CommandContext& ctx, const Arguments& args) {
    if (args.stored) {
        GetCameraHealthAndUsage_stored(ctx.camera.ip.c_str(), ctx.camera.port);
    } else {
        GetCameraHealthAndUsage(ctx.camera.ip.c_str(), ctx.camera.port);
    }
    print_health(ctx, ctx.await_event<oschost::HealthReport>("with its health"));
    return 0;
}

int run_version(CommandContext& ctx, const Arguments&) {
    // The handler answers version queries once it holds the full parameters.
    GetCameraSettings(ctx.camera.ip.c_str(), ctx.camera.port, false);
    ctx.await_params();
    GetIMRXVersion(ctx.camera.ip.c_str(), ctx.camera.port);
    const std::string document = ctx.await_result("GetIMRXVersion").message;
    if (ctx.out.json()) {
        ctx.out.document(document);
        return 0;
    }
    const auto versions = nlohmann::json::parse(document);
    ctx.out.raw(format_table({{"AST1220", versions.value("ast1220_ver", "")},
                              {"AST1230", versions.value("ast1230_ver", "")}}));
    return 0;
}

int run_save(CommandContext& ctx, const Arguments&) {
    SaveParam(ctx.camera.ip.c_str(), ctx.camera.port);
    ctx.await_answer(osc_texts::kQueuedSaveParam, "the save");
    ctx.report_done("save");
    return 0;
}

int run_reboot(CommandContext& ctx, const Arguments& args) {
    RebootCamera(ctx.camera.ip.c_str(), ctx.camera.port);
    ctx.await_event<oschost::RebootState>("the reboot");
    if (!args.wait) {
        // The camera has taken the request; whether it comes back is not known yet.
        if (ctx.out.json())
            ctx.out.document(nlohmann::json{
                {"camera", ctx.camera.text()}, {"command", "reboot"}, {"requested", true}});
        else
            ctx.out.line(fmt::format("{}: reboot requested (--wait waits until it answers again)",
                                     ctx.camera.text()));
        return 0;
    }
    // The handler holds the camera's commands for 40 s after a reboot.
    CommandContext patient = ctx;
    patient.timeout = std::max(ctx.timeout, std::chrono::milliseconds(90000));
    GetCameraSettings(ctx.camera.ip.c_str(), ctx.camera.port, false);
    patient.await_params();
    ctx.report_done("reboot");
    return 0;
}

// Pictures of several cameras share their names on the camera; the camera
// goes in front: 127.0.0.1_8080_capture_0001.jpg.
std::string picture_file_name(const CameraAddress& camera, const std::string& address) {
    const std::string name = address.substr(address.find_last_of('/') + 1);
    return fmt::format("{}_{}_{}", camera.ip, camera.port, name.empty() ? "screenshot.jpg" : name);
}

int run_screenshot(CommandContext& ctx, const Arguments& args) {
    TakeScreenShot(ctx.camera.ip.c_str(), ctx.camera.port);
    const std::string address = with_port(ctx.camera, ctx.await_result("TakeScreenShot").message);
    std::string file = args.save_picture ? "." : args.output_file;
    if (file != "-" && !file.empty() && std::filesystem::is_directory(file))
        file = (std::filesystem::path(file) / picture_file_name(ctx.camera, address)).string();
    if (file == "-") {
        // The picture is the output; what would be said about it goes to stderr.
        ctx.out.binary(download(address));
        return 0;
    }
    if (!file.empty()) {
        std::ofstream out(file, std::ios::binary);
        out << download(address);
        if (!out) throw CommandFailure("cannot write " + file);
    }
    if (ctx.out.json()) {
        nlohmann::json answer{{"camera", ctx.camera.text()}, {"picture", address}};
        if (!file.empty()) answer["saved"] = file;
        ctx.out.document(answer);
    } else {
        ctx.out.line(fmt::format("{}: picture {}", ctx.camera.text(), address));
        if (!file.empty()) ctx.out.line("saved as " + file);
    }
    return 0;
}

int run_remove(CommandContext& ctx, const Arguments&) {
    // Each oscctl run starts with an empty cache: contact the camera first so
    // that there is an entry to remove. A refusal is an answer too.
    GetMode(ctx.camera.ip.c_str(), ctx.camera.port);
    try {
        ctx.await_result("GetMode");
    } catch (const CommandFailure& failure) {
        if (failure.exit_code() == kExitNoAnswer) throw;
    }
    const bool removed = RemoveCachedDevice(ctx.camera.ip.c_str());
    if (!removed) throw CommandFailure(ctx.camera.ip + " is not a known camera");
    ctx.report_done("remove");
    return 0;
}

}  // namespace oscctl
