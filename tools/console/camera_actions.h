// What the page can ask of a camera. Each action checks its request first
// (the camera exists, the body is well formed, values lie in the range the
// camera advertises, from the one settings table) and only then calls the
// handler's exported operation, so a refused request changes nothing. Every
// request, refused or queued, goes into the audit log.
#pragma once

#include <string>

#include "tools/console/actor.h"
#include "tools/console/audit_log.h"
#include "tools/console/fleet_store.h"

namespace osconsole {

struct ActionOutcome {
    int status = 202;     // 202 queued; 4xx refused
    std::string message;  // what was queued, or why it was refused
};

ActionOutcome run_action(FleetStore& store, AuditLog& audit, const std::string& ip,
                         const std::string& action, const std::string& body, const Actor& actor);

}  // namespace osconsole
