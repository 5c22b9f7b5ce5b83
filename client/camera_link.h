// What the client keeps per camera between its requests.
#pragma once

#include <functional>
#include <string>

#include <nlohmann/json.hpp>

namespace oscclient {

struct CameraLink {
    std::string ip;
    // Asked for by GetCaptureStatus, as the camera handed it out (a text in
    // OSC, a number on some cameras); "" when the latest capture has none.
    nlohmann::json last_capture_id = "";
    bool asks_for_credentials = false;  // answered 401 once
};

// Hands one answer to the handler: (text, ip, status).
using Deliver = std::function<void(const std::string& text, const std::string& ip, int status)>;

inline std::string base_url(const std::string& ip, int port) {
    return "http://" + ip + ":" + std::to_string(port);
}

}  // namespace oscclient
