#include "tools/oscctl/command_context.h"

#include <fmt/format.h>

#include "IVeskOSCHandlerInst.h"

namespace oscctl {

namespace {

bool is_failure(const Event& event) {
    const std::string kind = event.value("event", "");
    if (kind == "unhandled") return true;
    if (kind == "result") return !event.value("ok", true);
    if (kind == "reboot") return !event.value("state", true);
    return false;
}

bool for_camera(const CameraAddress& camera, const Event& event) {
    return event.value("ip", "") == camera.ip;
}

// The client library gives up on a request after the same limit; waiting a
// little longer lets its failure, which names the cause, arrive first.
constexpr std::chrono::milliseconds kClientGrace{500};

// Any answer of the camera shows it is working on the command.
EventMatch answer_from(const CameraAddress& camera) {
    return [camera](const Event& e) { return for_camera(camera, e); };
}

}  // namespace

void throw_if_failure(const CameraAddress& camera, const Event& event) {
    if (!is_failure(event)) return;
    if (event.value("event", "") == "unhandled") {
        // The handler dropped the answer; the callback we wait for never comes.
        const std::string what = event.value("message", "");
        throw CommandFailure(fmt::format("camera {} sent an answer the handler cannot use{}",
                                         camera.text(), what.empty() ? "" : " (" + what + ")"));
    }
    const std::string message = event.value("message", "reboot failed");
    // The client library's words for a camera it could not use at all; the
    // cause beside them says why.
    if (message == "Request exception") {
        const std::string cause = event.value("cause", "");
        std::string text;
        if (cause.empty())
            text = fmt::format("camera {} does not answer ({})", camera.text(), message);
        else if (cause.rfind("HTTP ", 0) == 0)
            text = fmt::format("camera {} answers with {}", camera.text(), cause);
        else
            text = fmt::format("camera {} does not answer: {}", camera.text(), cause);
        throw CommandFailure(text, kExitNoAnswer);
    }
    const std::string command = event.value("command", "");
    if (command.empty())
        throw CommandFailure(fmt::format("camera {} refused: {}", camera.text(), message));
    throw CommandFailure(fmt::format("camera {}: {} failed: {}", camera.text(), command, message));
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
        cursor,
        [&](const Event& e) {
            return for_camera(camera, e) && (e.value("event", "") == kind || is_failure(e));
        },
        timeout + kClientGrace, answer_from(camera));
    if (!event) fail_no_answer(waiting_for);
    throw_if_failure(camera, *event);
    return *event;
}

Event CommandContext::await_result(const std::string& command) {
    auto event = events.wait_for(
        cursor,
        [&](const Event& e) {
            if (!for_camera(camera, e)) return false;
            if (is_failure(e)) return true;
            return e.value("event", "") == "result" && e.value("command", "") == command;
        },
        timeout + kClientGrace, answer_from(camera));
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
        cursor,
        [&](const Event& e) {
            if (!for_camera(camera, e)) return false;
            if (is_failure(e)) return true;
            return e.value("event", "") == "result" && e.value("command", "") == "GetMode";
        },
        timeout + kClientGrace, answer_from(camera));
    if (!event) fail_no_answer(command);
    throw_if_failure(camera, *event);
}

}  // namespace oscctl
