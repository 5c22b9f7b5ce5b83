// What the fleet view shows first: each camera's state in a word, what (if
// anything) needs the operator, and the fleet's counts and order, with the
// cameras that need attention first. Pure functions of the cameras' state.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "tools/console/camera_state.h"

namespace osconsole {

enum class FleetState { Waiting, Answering, NotAnswering, Rebooting, Updating };
inline constexpr std::size_t kFleetStates = 5;

// Why a camera needs the operator, least urgent first.
enum class Concern {
    None,
    Rebooting,
    Updating,
    FailedCommand,
    RebootNotBack,
    UpdateFailed,
    NotAnswering
};

struct CameraStatus {
    FleetState state = FleetState::Waiting;
    Concern concern = Concern::None;
    std::string reason;  // for people; empty without a concern
};

// A reboot not back within this long needs the operator (the handler rests
// 40 s after a reboot before it asks the camera anything).
inline constexpr WallMs kRebootBackLimitMs = 3 * 60 * 1000;

FleetState fleet_state(const CameraState& camera);
CameraStatus camera_status(const CameraState& camera, WallMs now);

const char* state_text(FleetState state);   // "answering", "not answering"...
const char* concern_text(Concern concern);  // "failed command"...

struct CameraOverview {
    std::string ip;
    CameraStatus status;
};

struct FleetSummary {
    std::array<int, kFleetStates> counts{};  // by FleetState
    int attention = 0;                       // cameras with a concern
    std::vector<std::string> order;          // the most urgent concern first, then by address
};

FleetSummary summarize(const std::vector<CameraOverview>& cameras);

}  // namespace osconsole
