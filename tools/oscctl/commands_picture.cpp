// settings, get, set, mode, stream, preview, flip, roi.
#include <fstream>
#include <iterator>
#include <sstream>

#include <fmt/format.h>

#include "IVeskOSCHandlerInst.h"
#include "host/settings_table.h"
#include "tools/oscctl/commands.h"
#include "tools/oscctl/roi_layout.h"
#include "tools/oscctl/roi_svg.h"

namespace oscctl {

namespace {

nlohmann::json fetch_params(CommandContext& ctx, bool force) {
    GetCameraSettings(ctx.camera.ip.c_str(), ctx.camera.port, force);
    return nlohmann::json::parse(ctx.await_params().document);
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
    return std::stoi(ctx.await_result("GetMode").message);
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw CommandFailure("cannot read " + path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

int run_settings(CommandContext& ctx, const Arguments& args) {
    GetCameraSettings(ctx.camera.ip.c_str(), ctx.camera.port, args.force);
    print_params(ctx, ctx.await_params().document);
    return 0;
}

int run_get(CommandContext& ctx, const Arguments&) {
    // A fresh process has an empty cache: fill it once, then report from it.
    fetch_params(ctx, false);
    GetCameraParams(ctx.camera.ip.c_str());
    print_params(ctx, ctx.await_params().document);
    return 0;
}

// A value outside the range the camera advertises (or the fixed one) is
// refused before anything is sent; without a range the camera judges it.
int run_set(CommandContext& ctx, const Arguments& args) {
    const oschost::Setting* setting = oschost::find_setting(args.setting);
    if (!setting) throw CommandFailure("unknown setting " + args.setting);
    const nlohmann::json document =
        setting->advertised() ? fetch_params(ctx, false) : nlohmann::json::object();
    const oschost::RangeCheck check = oschost::check_range(*setting, args.value, &document);
    if (check.verdict == oschost::RangeVerdict::Outside)
        throw CommandFailure(fmt::format("camera {}: {} {} is outside its range {}..{}",
                                         ctx.camera.text(), args.setting, args.value,
                                         check.range.min, check.range.max));
    setting->set(ctx.camera.ip.c_str(), ctx.camera.port, args.value);
    if (setting->confirmed)
        ctx.await_result(setting->command);
    else
        ctx.await_answer(setting->command, args.setting);
    ctx.report_done(fmt::format("{} = {}", args.setting, args.value));
    return 0;
}

int run_mode(CommandContext& ctx, const Arguments& args) {
    int mode = args.mode;
    if (args.mode >= 0) {
        SetMode(ctx.camera.ip.c_str(), ctx.camera.port, args.mode);
        ctx.await_result("SetMode");
        // The camera took the mode; reading it back only confirms it.
        try {
            mode = current_mode(ctx);
        } catch (const CommandFailure& failure) {
            ctx.warn(failure);
        }
    } else {
        mode = current_mode(ctx);
    }
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
    std::string document;
    try {
        document = ctx.await_result("GetROI").message;
    } catch (const CommandFailure& failure) {
        if (args.roi_file.empty()) throw;
        // The camera took the layout; only reading it back failed.
        ctx.warn(failure);
        ctx.report_done("roi --set");
        return 0;
    }
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
