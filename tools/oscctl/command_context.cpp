#include "tools/oscctl/command_context.h"

#include <fmt/format.h>

#include "IVeskOSCHandlerInst.h"

namespace oscctl {

namespace {

bool is_failure(const Event& event) {
    const std::string kind = event.value("event", "");
    if (kind == "result") return !event.value("ok", true);
    if (kind == "reboot") return !event.value("state", true);
    return false;
}

bool for_camera(const CameraAddress& camera, const Event& event) {
    return event.value("ip", "") == camera.ip;
}

}  // namespace

void throw_if_failure(const CameraAddress& camera, const Event& event) {
    if (!is_failure(event)) return;
    const std::string message = event.value("message", "reboot failed");
    // The client library's words for a camera it could not reach at all.
    if (message == "Request exception")
        throw CommandFailure(fmt::format("camera {} does not answer ({})", camera.text(), message),
                             kExitNoAnswer);
    const std::string command = event.value("command", "");
    throw CommandFailure(fmt::format("camera {}: {} failed: {}", camera.text(),
                                     command.empty() ? "command" : command, message));
}

void CommandContext::report_done(const std::string& what) {
    if (out.json()) {
        out.document(nlohmann::json{{"camera", camera.text()}, {"command", what}, {"ok", true}});
    } else {
        out.line(fmt::format("{}: {} done", camera.text(), what));
    }
}

void CommandContext::fail_no_answer(const std::string& waiting_for) const {
    throw CommandFailure(fmt::format("camera {} did not answer {} within {} s", camera.text(),
                                     waiting_for, timeout.count() / 1000.0),
                         kExitNoAnswer);
}

Event CommandContext::await_event(const std::string& kind, const std::string& waiting_for) {
    auto event = events.wait_for(
        [&](const Event& e) {
            return for_camera(camera, e) && (e.value("event", "") == kind || is_failure(e));
        },
        timeout);
    if (!event) fail_no_answer(waiting_for);
    throw_if_failure(camera, *event);
    return *event;
}

Event CommandContext::await_result(const std::string& command) {
    auto event = events.wait_for(
        [&](const Event& e) {
            if (!for_camera(camera, e)) return false;
            if (is_failure(e)) return true;
            return e.value("event", "") == "result" && e.value("command", "") == command;
        },
        timeout);
    if (!event) fail_no_answer(command);
    throw_if_failure(camera, *event);
    return *event;
}

Event CommandContext::await_params() {
    return await_event("params", "with its parameters");
}

void CommandContext::await_queue_drained(const std::string& command) {
    GetMode(camera.ip.c_str(), camera.port);
    auto event = events.wait_for(
        [&](const Event& e) {
            if (!for_camera(camera, e)) return false;
            if (is_failure(e)) return true;
            return e.value("event", "") == "result" && e.value("command", "") == "GetMode";
        },
        timeout);
    if (!event) fail_no_answer(command);
    throw_if_failure(camera, *event);
}

}  // namespace oscctl
