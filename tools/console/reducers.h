// How each input changes one camera's state: pure functions of the state,
// the input and the moment, without locks or clocks of their own.
#pragma once

#include <variant>

#include "host/events.h"
#include "tools/console/camera_state.h"

namespace osconsole {

// What the console itself did or saw, beside the handler's events.
struct ParamsArrived {
    std::shared_ptr<const ParamsDocument> document;
};
struct ActionQueued {
    std::string command;  // the exported operation the console called
};
struct FetchStarted {};
struct PollStarted {};
struct ScreenshotStored {
    std::shared_ptr<const std::string> jpeg;
    std::shared_ptr<const std::string> thumbnail;
};
struct ScreenshotFailed {
    std::string message;
};

using Input =
    std::variant<oschost::CommandResult, oschost::HealthReport, oschost::FirmwareUpload,
                 oschost::FirmwareProgress, oschost::RebootState, oschost::RequestAnswered,
                 oschost::AnswerUnusable, oschost::LogLine, ParamsArrived, ActionQueued,
                 FetchStarted, PollStarted, ScreenshotStored, ScreenshotFailed>;

void reduce(CameraState& camera, const Input& input, const Moment& now);

bool is_firmware_command(const std::string& command);
// A firmware update failed, whether reported under its operation or not.
bool is_firmware_failure(const oschost::CommandResult& result);

}  // namespace osconsole
