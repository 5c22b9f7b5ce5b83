// update, progress.
#include <filesystem>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "IVeskOSCHandlerInst.h"
#include "tools/oscctl/commands.h"
#include "tools/oscctl/progress_bar.h"

namespace oscctl {

namespace {

// The camera's progress text without the update script's marker; a bare
// marker (the update's last line) stands for itself.
std::string stage_text(const std::string& text) {
    if (text.rfind('[', 0) != 0) return text;
    const auto close = text.find(']');
    if (close == std::string::npos) return text;
    const auto start = text.find_first_not_of(' ', close + 1);
    return start == std::string::npos ? text.substr(1, close - 1) : text.substr(start);
}

}  // namespace

int run_update(CommandContext& ctx, const Arguments& args) {
    const char* ip = ctx.camera.ip.c_str();
    const int port = ctx.camera.port;
    const bool both = args.both_modules;
    const std::string operation = both                   ? "update --both"
                                  : !args.fw1230.empty() ? "update --fw1230"
                                                         : "update --fw1220";
    if (both && (args.fw1220.empty() || args.fw1230.empty()))
        throw CommandFailure("update --both needs --fw1220 FILE and --fw1230 A B C");
    if (args.fw1220.empty() && args.fw1230.empty())
        throw CommandFailure("update needs --fw1220 FILE, --fw1230 A B C, or both with --both");
    if (!args.fw1230.empty() && args.fw1230.size() != 3)
        throw CommandFailure(operation + ": --fw1230 takes three files");
    std::vector<std::string> files = args.fw1230;
    if (!args.fw1220.empty()) files.push_back(args.fw1220);
    for (const auto& file : files) {
        std::error_code error;
        if (std::filesystem::file_size(file, error) == 0 || error)
            throw CommandFailure(fmt::format("{}: {} is empty or unreadable", operation, file));
    }
    if (!args.fw1230.empty()) {
        // The handler picks the AST1230 update script by the camera's model,
        // which a fresh run learns from the parameters only.
        GetCameraSettings(ip, port, false);
        const auto params = nlohmann::json::parse(ctx.await_params().document);
        const std::string model = params.value("model", "");
        if (model != "Q07261" && model != "Q06127" && model != "Q04932")
            throw CommandFailure(fmt::format(
                "{}: camera {} reports model '{}'; the AST1230 module is updated on models "
                "Q07261, Q06127 and Q04932 only",
                operation, ctx.camera.text(), model));
    }
    if (both) {
        UpdateFirmwareAll(ip, port, args.fw1230[0].c_str(), args.fw1230[1].c_str(),
                          args.fw1230[2].c_str(), args.fw1220.c_str());
    } else if (!args.fw1230.empty()) {
        Update1230Firmware(ip, port, args.fw1230[0].c_str(), args.fw1230[1].c_str(),
                           args.fw1230[2].c_str());
    } else {
        Update1220Firmware(ip, port, args.fw1220.c_str());
    }

    ProgressBar bar(!ctx.out.json() && !ctx.out.collected());
    int percent = 0;
    // An update reports all along; the timeout counts silence, not duration.
    const auto last = ctx.events.wait_while_active(
        ctx.cursor,
        [&](const Event& e) {
            if (oschost::camera_of(e) != ctx.camera.ip) return false;
            const auto* progress = std::get_if<oschost::FirmwareProgress>(&e);
            const auto* result = std::get_if<oschost::CommandResult>(&e);
            return (progress && progress->finished) || (result && !result->ok);
        },
        ctx.timeout,
        [&](const Event& e) {
            if (oschost::camera_of(e) != ctx.camera.ip) return;
            if (const auto* upload = std::get_if<oschost::FirmwareUpload>(&e)) {
                bar.update(percent,
                           upload->image ? "firmware image uploaded" : "update script uploaded");
            } else if (const auto* progress = std::get_if<oschost::FirmwareProgress>(&e)) {
                percent = progress->percent;
                bar.update(percent, stage_text(progress->text));
            } else {
                return;
            }
            if (ctx.out.json()) ctx.out.document(*event_json(e));
        });
    bar.finish();
    if (!last) ctx.fail_no_answer("during " + operation);
    if (const auto* result = std::get_if<oschost::CommandResult>(&*last))
        throw CommandFailure(
            fmt::format("camera {}: {} failed: {}", ctx.camera.text(), operation, result->message));
    ctx.out.line(fmt::format("{}: {} finished", ctx.camera.text(), operation));
    return 0;
}

int run_progress(CommandContext& ctx, const Arguments&) {
    GetUpdateProgress(ctx.camera.ip.c_str(), ctx.camera.port);
    const auto progress = ctx.await_event<oschost::FirmwareProgress>("with its update progress");
    if (ctx.out.json()) {
        ctx.out.document(*event_json(progress));
    } else {
        ctx.out.line(fmt::format("{}: {}% {}", ctx.camera.text(), progress.percent, progress.text));
    }
    return 0;
}

}  // namespace oscctl
