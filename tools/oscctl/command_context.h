// What every subcommand works with: the session's events, the output, the
// camera and the waiting rules.
#pragma once

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>

#include "host/answer_wait.h"
#include "tools/oscctl/output.h"

namespace oscctl {

using oschost::CameraAddress;
using oschost::Event;

// A failed step; main prints the message and exits with `exit_code`.
class CommandFailure : public std::runtime_error {
public:
    CommandFailure(const std::string& message, int exit_code = 1)
        : std::runtime_error(message), exit_code_(exit_code) {}
    int exit_code() const { return exit_code_; }

private:
    int exit_code_;
};

inline constexpr int kExitFailed = 1;
inline constexpr int kExitNoAnswer = 2;

struct CommandContext {
    oschost::EventLog& events;
    Output& out;
    // The longest silence of the camera while waiting for one answer.
    std::chrono::milliseconds timeout;
    CameraAddress camera;
    // This camera's place in the event log.
    std::size_t cursor = 0;

    // Each wait ends with a CommandFailure when the camera reports a failure
    // first (of any of its requests) or stays silent.
    oschost::CommandResult await_result(const std::string& command);
    oschost::ParamsReport await_params();
    // For operations the handler confirms under no name: the camera's answer
    // to the request queued as `request`.
    void await_answer(const std::string& request, const std::string& waiting_for);
    template <class Kind>
    Kind await_event(const std::string& waiting_for) {
        return std::get<Kind>(
            await([](oschost::CameraWait& w) { return w.next<Kind>(); }, waiting_for));
    }
    // Waits as `how` says from the context's cursor on and moves the cursor;
    // throws for a failure or silence.
    Event await(const std::function<oschost::Awaited(oschost::CameraWait&)>& how,
                const std::string& waiting_for);

    // "CAM: WHAT done", or {"camera", "command", "ok"} in JSON mode.
    void report_done(const std::string& what);
    // A read that follows a change the camera confirmed: its failure is
    // reported on stderr and does not fail the command.
    void warn(const CommandFailure& failure) const;

    [[noreturn]] void fail_no_answer(const std::string& waiting_for) const;
};

// What the user reads about a failure the camera reported.
CommandFailure failure_of(const CameraAddress& camera, const Event& failure);

}  // namespace oscctl
