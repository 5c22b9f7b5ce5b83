// Checks an ROI layout before it is sent: the camera takes any layout of the
// right shape, so a region outside the picture would only show later as a
// broken stream.
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace oscctl {

// The most regions a layout may hold.
inline constexpr int kMaxRegions = 15;

// What is wrong with `layout`, naming the field and its allowed range, or
// nothing when it can be sent.
std::optional<std::string> roi_layout_error(const nlohmann::json& layout);

}  // namespace oscctl
