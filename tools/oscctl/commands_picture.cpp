// settings, get, set, mode, stream, preview, flip, roi.
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include <fmt/format.h>

#include "IVeskOSCHandlerInst.h"
#include "tools/oscctl/commands.h"
#include "tools/oscctl/roi_layout.h"
#include "tools/oscctl/roi_svg.h"

namespace oscctl {

namespace {

using Setter = void (*)(const char*, int, int);

struct SettingCommand {
    Setter setter;
    const char* confirmed_as;  // result name, empty when the handler sends none
};

const std::map<std::string, SettingCommand>& setting_commands() {
    static const std::map<std::string, SettingCommand> table{
        {"brightness", {SetBrightness, "SetBrightness"}},
        {"contrast", {SetContrast, "SetContrast"}},
        {"saturation", {SetSaturation, "SetSaturation"}},
        {"sharpness", {SetSharpness, "SetSharpness"}},
        {"awb", {SetAWB, "SetAWB"}},
        {"autoawb", {SetAutoAWB, "SetAutoAWB"}},
        {"antiflicker", {SetAntiFlicker, "SetAntiFlicker"}},
        {"wdr", {SetWDRValue, "SetWDRValue"}},
        {"hdr", {SetHDRValue, "SetHDRValue"}},
        {"tiltshift", {SetTiltShift, "SetTiltShift"}},
        {"bitrate", {SetBitrate, ""}},
    };
    return table;
}

nlohmann::json fetch_params(CommandContext& ctx, bool force) {
    GetCameraSettings(ctx.camera.ip.c_str(), ctx.camera.port, force);
    const Event event = ctx.await_params();
    return nlohmann::json::parse(event.value("json", "{}"));
}

void print_params(CommandContext& ctx, const std::string& text) {
    if (ctx.out.json()) {
        ctx.out.document(text);
        return;
    }
    const auto params = nlohmann::json::parse(text);
    ctx.out.line(fmt::format("camera {}", ctx.camera.text()));
    ctx.out.raw(format_table(settings_rows(params)));
    ctx.out.line("");
    ctx.out.raw(format_table(details_rows(params)));
}

// The mode the camera is in now, via the handler's own query.
int current_mode(CommandContext& ctx) {
    GetMode(ctx.camera.ip.c_str(), ctx.camera.port);
    return std::stoi(ctx.await_result("GetMode").value("message", "0"));
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw CommandFailure("cannot read " + path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

int run_settings(CommandContext& ctx, const Arguments& args) {
    GetCameraSettings(ctx.camera.ip.c_str(), ctx.camera.port, args.force);
    print_params(ctx, ctx.await_params().value("json", "{}"));
    return 0;
}

int run_get(CommandContext& ctx, const Arguments&) {
    // A fresh process has an empty cache: fill it once, then report from it.
    fetch_params(ctx, false);
    GetCameraParams(ctx.camera.ip.c_str());
    print_params(ctx, ctx.await_params().value("json", "{}"));
    return 0;
}

namespace {

// Refuses a value outside the range the camera advertises for the setting;
// settings without an advertised range are left to the camera to judge.
void check_advertised_range(CommandContext& ctx, const std::string& setting, int value) {
    const nlohmann::json params = fetch_params(ctx, false);
    const auto min = params.find(setting + "_min");
    const auto max = params.find(setting + "_max");
    if (min == params.end() || max == params.end() || !min->is_number_integer() ||
        !max->is_number_integer())
        return;
    if (value < min->get<int>() || value > max->get<int>())
        throw CommandFailure(fmt::format("camera {}: {} {} is outside its range {}..{}",
                                         ctx.camera.text(), setting, value, min->get<int>(),
                                         max->get<int>()));
}

}  // namespace

int run_set(CommandContext& ctx, const Arguments& args) {
    auto it = setting_commands().find(args.setting);
    if (it == setting_commands().end()) throw CommandFailure("unknown setting " + args.setting);
    check_advertised_range(ctx, args.setting, args.value);
    it->second.setter(ctx.camera.ip.c_str(), ctx.camera.port, args.value);
    const std::string confirmed_as = it->second.confirmed_as;
    if (confirmed_as.empty())
        ctx.await_queue_drained(args.setting);
    else
        ctx.await_result(confirmed_as);
    ctx.report_done(fmt::format("{} = {}", args.setting, args.value));
    return 0;
}

int run_mode(CommandContext& ctx, const Arguments& args) {
    if (args.mode >= 0) {
        SetMode(ctx.camera.ip.c_str(), ctx.camera.port, args.mode);
        ctx.await_result("SetMode");
    }
    const int mode = current_mode(ctx);
    if (ctx.out.json())
        ctx.out.document(nlohmann::json{{"camera", ctx.camera.text()}, {"mode", mode}});
    else
        ctx.out.line(fmt::format("{}: mode {}", ctx.camera.text(), mode));
    return 0;
}

int run_stream(CommandContext& ctx, const Arguments&) {
    StartStreaming(ctx.camera.ip.c_str(), ctx.camera.port);
    ctx.await_result("StartStreaming");
    ctx.report_done("stream start");
    return 0;
}

int run_preview(CommandContext& ctx, const Arguments& args) {
    int width = 0;
    int height = 0;
    char separator = 0;
    std::istringstream size(args.size);
    if (!(size >> width >> separator >> height) || (separator != 'x' && separator != 'X'))
        throw CommandFailure("preview size must be WIDTHxHEIGHT, not " + args.size);
    // The handler sends a format change only in mode 1 and keeps it for later otherwise.
    const int mode = current_mode(ctx);
    if (!args.encode.empty()) {
        SetPreviewFormat2(ctx.camera.ip.c_str(), ctx.camera.port, width, height,
                          args.encode.c_str(), args.fps, args.bitrate, args.gop);
    } else {
        SetPreviewFormat(ctx.camera.ip.c_str(), ctx.camera.port, width, height);
    }
    if (mode != 1) {
        ctx.out.line(
            fmt::format("{}: camera is in mode {}; the format is sent with the next "
                        "stream start",
                        ctx.camera.text(), mode));
        if (ctx.out.json())
            ctx.out.document(nlohmann::json{{"camera", ctx.camera.text()}, {"sent", false}});
        return 0;
    }
    ctx.await_result("SetPreviewFormat");
    ctx.report_done(fmt::format("preview {}x{}", width, height));
    return 0;
}

int run_flip(CommandContext& ctx, const Arguments& args) {
    SetVerticalFlip(ctx.camera.ip.c_str(), ctx.camera.port, parse_switch(args.action));
    ctx.await_result("SetVerticalFlip");
    ctx.report_done("flip " + args.action);
    return 0;
}

int run_roi(CommandContext& ctx, const Arguments& args) {
    const int mode = current_mode(ctx);
    if (mode != 2 && mode != 3)
        throw CommandFailure(
            fmt::format("camera {} is in mode {}; ROI layouts exist in modes 2 "
                        "and 3 (oscctl mode {} 2)",
                        ctx.camera.text(), mode, ctx.camera.text()));
    if (!args.roi_file.empty()) {
        auto layout = nlohmann::json::parse(read_file(args.roi_file), nullptr, false);
        if (layout.is_discarded()) throw CommandFailure(args.roi_file + " is not a JSON document");
        // What --json roi printed: the layout under the camera's option name.
        if (layout.is_object() && layout.contains("_roi")) layout = layout["_roi"];
        if (const auto error = roi_layout_error(layout))
            throw CommandFailure(fmt::format("{}: {}", args.roi_file, *error));
        SetROI_Json(ctx.camera.ip.c_str(), ctx.camera.port, layout.dump().c_str());
        ctx.await_result("SetROI");
    }
    GetROI(ctx.camera.ip.c_str(), ctx.camera.port);
    const std::string document = ctx.await_result("GetROI").value("message", "{}");
    // The handler reports the layout under the camera's option name.
    const auto reported = nlohmann::json::parse(document);
    const nlohmann::json layout = reported.contains("_roi") ? reported["_roi"] : reported;
    if (!args.svg_file.empty()) {
        std::ofstream svg(args.svg_file);
        svg << render_roi_svg(layout);
        if (!svg) throw CommandFailure("cannot write " + args.svg_file);
    }
    if (ctx.out.json()) {
        ctx.out.document(document);
        return 0;
    }
    std::vector<Row> rows{{"#", "source x,y", "source WxH", "output x,y", "output WxH", "proj"}};
    int number = 0;
    for (const auto& r : layout.value("roiParam", nlohmann::json::array())) {
        rows.push_back({std::to_string(++number),
                        fmt::format("{},{}", r.value("srcX", 0), r.value("srcY", 0)),
                        fmt::format("{}x{}", r.value("srcW", 0), r.value("srcH", 0)),
                        fmt::format("{},{}", r.value("dstX", 0), r.value("dstY", 0)),
                        fmt::format("{}x{}", r.value("dstW", 0), r.value("dstH", 0)),
                        std::to_string(r.value("projection", 0))});
    }
    ctx.out.line(fmt::format("{}: source {}x{}, output {}x{}, {} regions", ctx.camera.text(),
                             layout.value("srcWidth", 0), layout.value("srcHeight", 0),
                             layout.value("dstWidth", 0), layout.value("dstHeight", 0), number));
    ctx.out.raw(format_table(rows));
    if (!args.svg_file.empty()) ctx.out.line("layout picture: " + args.svg_file);
    return 0;
}

}  // namespace oscctl
