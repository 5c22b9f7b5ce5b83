// The page's view as JSON: a row per camera for the fleet view, the camera's
// detail (its results and log lines) for the detail view, the fleet's counts
// and order, bulk runs, the rollout, and the settings table the controls are
// built from.
#pragma once

#include <nlohmann/json.hpp>

#include "tools/console/fleet_overview.h"
#include "tools/console/fleet_store.h"
#include "tools/console/rollout_runner.h"
#include "tools/console/run_book.h"

namespace osconsole {

nlohmann::json row_json(const CameraCopy& camera, WallMs now);
// What the page shows of a row: without the change's sequence and times, the
// health's percentages whole, as the page writes them.
nlohmann::json shown_of_row(nlohmann::json row);
nlohmann::json detail_json(const CameraCopy& camera, WallMs now);
nlohmann::json details_json(const std::vector<CameraCopy>& cameras, WallMs now);
nlohmann::json summary_json(const FleetSummary& summary);
nlohmann::json run_json(const BulkRun& run);
nlohmann::json rollout_json(const RolloutView& rollout);
nlohmann::json settings_json();

// Texts from cameras need not be valid UTF-8.
std::string dump(const nlohmann::json& value);

}  // namespace osconsole
