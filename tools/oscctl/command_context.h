// What every subcommand works with: the handler session, the output, the
// camera and the waiting rules.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

#include "tools/oscctl/camera_address.h"
#include "tools/oscctl/event_log.h"
#include "tools/oscctl/output.h"

namespace oscctl {

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
    EventLog& events;
    Output& out;
    // The longest wait for one answer of the camera; every answer that
    // arrives starts it again.
    std::chrono::milliseconds timeout;
    CameraAddress camera;
    // This camera's place in the event log.
    std::size_t cursor = 0;

    // Waits for the result callback of `command` for this camera; any failure
    // reported for the camera meanwhile ends the wait with a CommandFailure.
    Event await_result(const std::string& command);
    // Waits for the camera's parameter document.
    Event await_params();
    // Waits for any event of `kind` for this camera (failures still end it).
    Event await_event(const std::string& kind, const std::string& waiting_for);
    // For commands the handler does not confirm: asks for the mode behind them
    // and waits for it; commands to one camera are answered in order, so the
    // mode's answer means the earlier command was answered too.
    void await_queue_drained(const std::string& command);

    // "CAM: WHAT done", or {"camera", "command", "ok"} in JSON mode.
    void report_done(const std::string& what);

    [[noreturn]] void fail_no_answer(const std::string& waiting_for) const;
};

// Throws a CommandFailure when `event` reports a failure for the camera.
void throw_if_failure(const CameraAddress& camera, const Event& event);

}  // namespace oscctl
