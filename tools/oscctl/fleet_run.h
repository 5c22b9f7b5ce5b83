// One camera command on several cameras at once, through the one handler.
#pragma once

#include <string>
#include <vector>

#include "tools/oscctl/command_table.h"

namespace oscctl {

// "IP[:PORT],IP[:PORT],..." as addresses; throws CommandFailure on a bad one.
std::vector<CameraAddress> camera_arguments(const std::string& text);

// Runs `run` for every camera concurrently, each with its own place in the
// event log and its own collected output; then prints each camera's output
// in the given order (in JSON mode one object per camera) and a summary.
// Returns the worst exit status.
int run_on_fleet(CommandContext& base, const std::vector<CameraAddress>& cameras,
                 const CommandRun& run, const Arguments& args);

}  // namespace oscctl
