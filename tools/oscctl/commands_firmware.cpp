// update, progress.
#include <fmt/format.h>

#include "IVeskOSCHandlerInst.h"
#include "tools/oscctl/commands.h"
#include "tools/oscctl/progress_bar.h"

namespace oscctl {

namespace {

bool is_update_end(const Event& event) {
    return event.value("event", "") == "fw_progress" &&
           event.value("text", "").find("[FW update end]") != std::string::npos;
}

// The camera's progress text without the update script's marker; a bare
// marker ("[FW update end]") stands for itself.
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
    if (!args.fw1230.empty() && args.fw1230.size() != 3)
        throw CommandFailure("--fw1230 takes three files");
    if (args.both_modules) {
        if (args.fw1220.empty() || args.fw1230.empty())
            throw CommandFailure("update --both needs --fw1220 FILE and --fw1230 A B C");
        UpdateFirmwareAll(ip, port, args.fw1230[0].c_str(), args.fw1230[1].c_str(),
                          args.fw1230[2].c_str(), args.fw1220.c_str());
    } else if (!args.fw1230.empty()) {
        Update1230Firmware(ip, port, args.fw1230[0].c_str(), args.fw1230[1].c_str(),
                           args.fw1230[2].c_str());
    } else if (!args.fw1220.empty()) {
        Update1220Firmware(ip, port, args.fw1220.c_str());
    } else {
        throw CommandFailure("update needs --fw1220 FILE and/or --fw1230 A B C");
    }

    ProgressBar bar(ctx.out.is_terminal());
    int percent = 0;
    // An update reports all along; the timeout counts silence, not duration.
    auto last = ctx.events.wait_while_active(
        ctx.cursor,
        [&](const Event& e) {
            if (e.value("ip", "") != ctx.camera.ip) return false;
            return is_update_end(e) || (e.value("event", "") == "result" && !e.value("ok", true));
        },
        ctx.timeout,
        [&](const Event& e) {
            if (e.value("ip", "") != ctx.camera.ip) return;
            const std::string kind = e.value("event", "");
            if (kind == "fw_upload") {
                bar.update(percent, e.value("image", false) ? "firmware image uploaded"
                                                            : "update script uploaded");
            } else if (kind == "fw_progress") {
                percent = e.value("value", 0);
                bar.update(percent, stage_text(e.value("text", "")));
            }
            if (ctx.out.json()) ctx.out.document(e);
        });
    bar.finish();
    if (!last) ctx.fail_no_answer("during the firmware update");
    throw_if_failure(ctx.camera, *last);
    ctx.out.line(fmt::format("{}: firmware update finished", ctx.camera.text()));
    return 0;
}

int run_progress(CommandContext& ctx, const Arguments&) {
    GetUpdateProgress(ctx.camera.ip.c_str(), ctx.camera.port);
    const Event event = ctx.await_event("fw_progress", "with its update progress");
    if (ctx.out.json()) {
        ctx.out.document(event);
    } else {
        ctx.out.line(fmt::format("{}: {}% {}", ctx.camera.text(), event.value("value", 0),
                                 event.value("text", "")));
    }
    return 0;
}

}  // namespace oscctl
