// What the client keeps per camera: its connection and the little state that
// requests carry from one to the next.
#pragma once

#include <functional>
#include <string>

#include "client/http_session.h"

namespace oscclient {

struct CameraLink {
    CameraLink(std::string camera_ip, const ClientOptions& options,
               const std::atomic<bool>& cancelled)
        : ip(std::move(camera_ip)), http(options, cancelled) {}

    std::string ip;
    HttpSession http;
    std::string last_capture_id;  // asked for by GetCaptureStatus
};

// Hands one answer to the handler: (text, ip, status).
using Deliver = std::function<void(const std::string& text, const std::string& ip, int status)>;

inline std::string base_url(const std::string& ip, int port) {
    return "http://" + ip + ":" + std::to_string(port);
}

}  // namespace oscclient
