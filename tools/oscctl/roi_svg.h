// Draws an ROI layout: the source panorama with each region outlined and
// numbered, beside the composed output with the same numbers.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace oscctl {

// `layout` is the ROI document ("srcWidth", "srcHeight", "dstWidth",
// "dstHeight", "roiParam": [{"srcX", ...}]). Pure: no I/O.
std::string render_roi_svg(const nlohmann::json& layout);

}  // namespace oscctl
