// What a bulk action or a settings copy asks of each camera of a selection,
// checked against each camera before anything is sent to any.
#pragma once

#include <string>
#include <vector>

#include "tools/console/run_book.h"

namespace osconsole {

// The steps that give a camera another camera's picture settings: each
// setting whose range cameras state in their documents, value by value, and
// in modes 2 and 3 the ROI layout.
std::vector<ActionRequest> copy_steps(const ParamsDocument& source);

// The same steps for every camera; a camera that would refuse any of them
// gets none, and the refusal (naming it and the value) instead.
std::vector<CameraPlan> plan_for(FleetStore& store, AuditLog& audit,
                                 const std::vector<std::string>& cameras,
                                 const std::vector<ActionRequest>& steps, const Actor& actor);

}  // namespace osconsole
