// What the console can ask of a camera, and the one way it does: every action
// (a single camera's route, a bulk run, a settings copy, a firmware rollout)
// goes through run_action, which checks the request against the camera (it
// exists, values lie in the range it advertises, from the one settings table)
// and only then calls the handler's exported operation, so a refused request
// changes nothing. Every request, refused or queued, goes into the audit log.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/console/actor.h"
#include "tools/console/audit_log.h"
#include "tools/console/fleet_store.h"

namespace osconsole {

// A firmware update's files, as paths on this host.
struct FirmwareFiles {
    std::string ast1220;               // the image, or empty
    std::vector<std::string> ast1230;  // the script and two files, or empty
    // Named in the request (the path form, for scripts on this host) rather
    // than stored by the console from an upload.
    bool named_in_request = false;
};

// An ROI layout as the parameter document holds it under "_roi".
struct RoiLayout {
    nlohmann::json layout;
};

using ActionParams = std::variant<std::monostate, int, FirmwareFiles, RoiLayout>;

struct ActionRequest {
    std::string action;  // a setting's name ("brightness", "mode"), "stream", "firmware", ...
    ActionParams params;
};

struct ActionOutcome {
    int status = 202;       // 202 queued; 4xx refused (409: busy for a moment, try again)
    std::string message;    // why it was refused
    std::string operation;  // the exported operation called, when queued

    bool queued() const { return status == 202; }
};

ActionOutcome run_action(FleetStore& store, AuditLog& audit, const std::string& ip,
                         const ActionRequest& request, const Actor& actor);

// A single camera's route: the action from its JSON body (parse_action), then
// the above; a body that is not one is refused, and audited, as well.
ActionOutcome run_action(FleetStore& store, AuditLog& audit, const std::string& ip,
                         const std::string& action, const std::string& body, const Actor& actor);

// The refusal run_action would answer from the camera's state now (an unknown
// camera, a value outside its range, a layout for another mode...), calling
// nothing; a moment's busyness is not checked. A refusal is audited: a bulk
// run gives such a camera none of its steps.
std::optional<ActionOutcome> check_action(FleetStore& store, AuditLog& audit, const std::string& ip,
                                          const ActionRequest& request, const Actor& actor);

// The exported operation an action calls ("SetBrightness", "UpdateFirmwareAll"...),
// known before it is performed; empty for an unknown action.
std::string operation_of(const ActionRequest& request);

// A single camera's action from its JSON body: {"value": N} for settings, {}
// for the others, {"ast1220": PATH, "ast1230": [PATHS]} for firmware, {"layout":
// {...}} for roi; or the refusal.
std::variant<ActionRequest, ActionOutcome> parse_action(const std::string& action,
                                                        const nlohmann::json& body);

}  // namespace osconsole
