// GET /metrics: the fleet in Prometheus's text exposition format (0.0.4),
// made from copies of the cameras' state, so a scrape never waits on a
// camera. Every camera series carries camera="IP:PORT"; Prometheus adds job
// and instance itself.
#pragma once

#include <string>
#include <vector>

#include "tools/console/fleet_store.h"

namespace osconsole {

constexpr const char* kMetricsContentType = "text/plain; version=0.0.4; charset=utf-8";

std::string metrics_text(const std::vector<CameraCopy>& cameras, const std::string& version);

}  // namespace osconsole
