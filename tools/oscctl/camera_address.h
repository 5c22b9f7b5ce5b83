// A camera as named on the command line: IP or IP:PORT.
#pragma once

#include <string>

namespace oscctl {

struct CameraAddress {
    std::string ip;
    int port = 8080;
    std::string text() const { return ip + ":" + std::to_string(port); }
};

// Throws std::invalid_argument for text that is not IP or IP:PORT.
CameraAddress parse_camera_address(const std::string& text);

}  // namespace oscctl
