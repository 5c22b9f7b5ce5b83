// A camera as hosts name it: an IPv4 address, and its HTTP port after a colon
// (8080 when left out). One parser for every list of cameras: oscctl's
// arguments, the console's --cameras, the handler's device list and the
// client library's OSC_STATIC_CAMERAS.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "IVeskOSCTexts.h"

namespace oschost {

struct CameraAddress {
    std::string ip;
    int port = osc_texts::kDefaultHttpPort;

    std::string text() const { return ip + ":" + std::to_string(port); }
    bool operator==(const CameraAddress& o) const { return ip == o.ip && port == o.port; }
};

// "IP" or "IP:PORT", blanks around it ignored. Throws std::invalid_argument
// saying what is wrong.
CameraAddress parse_camera_address(std::string_view text);

struct CameraList {
    std::vector<CameraAddress> cameras;
    // Entries that are not cameras, each with what is wrong with it.
    std::vector<std::pair<std::string, std::string>> skipped;
};

// Entries separated by `separator`; empty entries are no entries.
CameraList parse_camera_list(std::string_view text, char separator = ',');

}  // namespace oschost
