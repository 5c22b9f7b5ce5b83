#include "answer_wait.h"

namespace oschost {

namespace {

// What shows the camera is answering; a send or a log line does not.
bool is_answer(const Event& event) {
    return !std::holds_alternative<RequestSent>(event) && !std::holds_alternative<LogLine>(event);
}

}  // namespace

Awaited CameraWait::until(const EventMatch& wanted) {
    const auto mine = [this](const Event& e) { return camera_of(e) == ip_; };
    auto event = log_.wait_for(
        cursor_, [&](const Event& e) { return mine(e) && (wanted(e) || is_failure(e)); }, silence_,
        [&](const Event& e) { return mine(e) && is_answer(e); });
    if (!event) return {WaitEnd::Silent, std::nullopt};
    // The failure may be what was wanted (a failed result of `command`).
    return {is_failure(*event) ? WaitEnd::Failed : WaitEnd::Arrived, std::move(event)};
}

Awaited CameraWait::result(const std::string& command) {
    return until([&](const Event& e) {
        const auto* result = std::get_if<CommandResult>(&e);
        return result && result->command == command;
    });
}

Awaited CameraWait::answer_to(const std::string& request) {
    return until([&](const Event& e) {
        const auto* answered = std::get_if<RequestAnswered>(&e);
        return answered && answered->request == request;
    });
}

}  // namespace oschost
