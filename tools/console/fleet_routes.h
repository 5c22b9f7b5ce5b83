// The routes for work on many cameras: bulk actions, copying one camera's
// settings to others, and the firmware rollout with its upload.
#pragma once

#include <string>

#include <httplib.h>

#include "tools/console/access_policy.h"
#include "tools/console/fleet_operations.h"

namespace osconsole {

// Where the browser uploads a rollout's files; the one route whose body may
// be larger than an action's.
inline constexpr const char* kRolloutPath = "/api/rollout";

// The action a POST to one of these routes asks for ("bulk", "copy",
// "rollout", "rollout-stop"), for the audit of a request refused before it
// is read; null for other paths.
const char* fleet_action_of(const std::string& path);

void install_fleet_routes(httplib::Server& server, FleetStore& store, const AccessPolicy& policy,
                          FleetOperations& operations);

}  // namespace osconsole
