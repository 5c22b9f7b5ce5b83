#include "tools/oscctl/camera_address.h"

#include <stdexcept>

namespace oscctl {

CameraAddress parse_camera_address(const std::string& text) {
    CameraAddress address;
    const auto colon = text.rfind(':');
    address.ip = text.substr(0, colon);
    if (colon != std::string::npos) {
        const std::string port = text.substr(colon + 1);
        std::size_t used = 0;
        int value = -1;
        try {
            value = std::stoi(port, &used);
        } catch (const std::exception&) {
        }
        if (used != port.size() || value < 1 || value > 65535)
            throw std::invalid_argument("bad port in camera address: " + text);
        address.port = value;
    }
    if (address.ip.empty()) throw std::invalid_argument("empty camera address");
    return address;
}

}  // namespace oscctl
