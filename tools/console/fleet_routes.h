// The routes for work on many cameras: bulk actions, copying one camera's
// settings to others, and the firmware rollout with its upload.
#pragma once

#include <httplib.h>

#include "tools/console/fleet_operations.h"

namespace osconsole {

// Where the browser uploads a rollout's files; the one route whose body may
// be larger than an action's.
inline constexpr const char* kRolloutPath = "/api/rollout";

void install_fleet_routes(httplib::Server& server, FleetStore& store, FleetOperations& operations);

}  // namespace osconsole
