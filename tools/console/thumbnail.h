// A small copy of a camera's picture for the fleet view: a tile shows it a
// few dozen pixels wide, and a browser asked to draw 99 full pictures would
// decode 99 panoramas.
#pragma once

#include <memory>
#include <string>

namespace osconsole {

inline constexpr int kThumbnailWidth = 240;

// A JPEG at most kThumbnailWidth wide (or as near as the decoder's scaling
// comes); nothing when `jpeg` cannot be decoded.
std::shared_ptr<const std::string> make_thumbnail(const std::string& jpeg);

}  // namespace osconsole
