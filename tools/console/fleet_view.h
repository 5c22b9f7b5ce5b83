// The page's view of the fleet as JSON: one card per camera, and the settings
// table the detail view builds its controls from.
#pragma once

#include <nlohmann/json.hpp>

#include "tools/console/fleet_store.h"

namespace osconsole {

nlohmann::json card_json(const CameraCopy& camera);
nlohmann::json cards_json(const std::vector<CameraCopy>& cameras);
nlohmann::json settings_json();

// Texts from cameras need not be valid UTF-8.
std::string dump(const nlohmann::json& value);

}  // namespace osconsole
