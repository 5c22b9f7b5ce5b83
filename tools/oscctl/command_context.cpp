#include "tools/oscctl/command_context.h"

#include <cstdio>

#include <fmt/format.h>

namespace oscctl {

namespace {

// The client library gives up on a request after the same limit; waiting a
// little longer lets its failure, which names the cause, arrive first.
constexpr std::chrono::milliseconds kClientGrace{500};

// The words of a request that never reached the camera, with its cause.
CommandFailure no_answer(const CameraAddress& camera, const std::string& reason,
                         const std::string& cause) {
    if (cause.empty())
        return {fmt::format("camera {} does not answer ({})", camera.text(), reason),
                kExitNoAnswer};
    if (cause.rfind("HTTP ", 0) == 0)
        return {fmt::format("camera {} answers with {}", camera.text(), cause), kExitNoAnswer};
    return {fmt::format("camera {} does not answer: {}", camera.text(), cause), kExitNoAnswer};
}

// A refusal, named by the operation or, for requests the host did not call
// itself, by the camera-side request.
CommandFailure refused(const CameraAddress& camera, const std::string& command,
                       const std::string& message,
                       const std::optional<oschost::RequestFailure>& failure) {
    if (failure && failure->no_answer()) return no_answer(camera, message, failure->cause);
    if (message == osc_texts::kRequestException) return no_answer(camera, message, "");
    if (!command.empty())
        return {fmt::format("camera {}: {} failed: {}", camera.text(), command, message)};
    if (failure && !failure->request.empty())
        return {fmt::format("camera {}: {} refused: {}", camera.text(), failure->request, message)};
    return {fmt::format("camera {} refused: {}", camera.text(), message)};
}

}  // namespace

CommandFailure failure_of(const CameraAddress& camera, const Event& failure) {
    if (const auto* unusable = std::get_if<oschost::AnswerUnusable>(&failure)) {
        // The handler dropped the answer; the callback waited for never comes.
        const std::string& what = unusable->what;
        return {fmt::format("camera {} sent an answer the handler cannot use{}", camera.text(),
                            what.empty() ? "" : " (" + what + ")")};
    }
    if (const auto* reboot = std::get_if<oschost::RebootState>(&failure)) {
        const std::string reason = reboot->failure ? reboot->failure->reason : "refused";
        return refused(camera, "RebootCamera", reason, reboot->failure);
    }
    const auto& result = std::get<oschost::CommandResult>(failure);
    return refused(camera, result.command, result.message, result.failure);
}

Event CommandContext::await(const std::function<oschost::Awaited(oschost::CameraWait&)>& how,
                            const std::string& waiting_for) {
    oschost::CameraWait waiting(events, camera.ip, timeout + kClientGrace, cursor);
    const oschost::Awaited awaited = how(waiting);
    cursor = waiting.cursor();
    if (awaited.end == oschost::WaitEnd::Silent) fail_no_answer(waiting_for);
    if (awaited.end == oschost::WaitEnd::Failed) throw failure_of(camera, *awaited.event);
    return *awaited.event;
}

oschost::CommandResult CommandContext::await_result(const std::string& command) {
    return std::get<oschost::CommandResult>(
        await([&](oschost::CameraWait& w) { return w.result(command); }, command));
}

oschost::ParamsReport CommandContext::await_params() {
    return await_event<oschost::ParamsReport>("with its parameters");
}

void CommandContext::await_answer(const std::string& request, const std::string& waiting_for) {
    await([&](oschost::CameraWait& w) { return w.answer_to(request); }, waiting_for);
}

void CommandContext::report_done(const std::string& what) {
    if (out.json()) {
        out.document(nlohmann::json{{"camera", camera.text()}, {"command", what}, {"ok", true}});
    } else {
        out.line(fmt::format("{}: {} done", camera.text(), what));
    }
}

void CommandContext::warn(const CommandFailure& failure) const {
    std::fprintf(stderr, "oscctl: %s\n", failure.what());
}

void CommandContext::fail_no_answer(const std::string& waiting_for) const {
    throw CommandFailure(fmt::format("camera {} did not answer {} within {} s", camera.text(),
                                     waiting_for, timeout.count() / 1000.0),
                         kExitNoAnswer);
}

}  // namespace oscctl
