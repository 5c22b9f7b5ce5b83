// Settings of the client library: timeouts, credentials and discovery
// sources. The library reads them from the environment.
#pragma once

#include <chrono>
#include <string>

namespace oscclient {

struct ClientOptions {
    std::chrono::milliseconds connect_timeout{1500};
    std::chrono::milliseconds request_timeout{4000};
    std::chrono::milliseconds upload_timeout{600000};
    std::chrono::seconds upload_stall{15};
    std::chrono::milliseconds update_timeout{900000};
    std::chrono::seconds update_stall{60};
    std::string user;  // digest credentials; empty: no authentication
    std::string password;
    std::string static_cameras;  // "ip:port,ip:port"
    bool dns_sd = true;
    std::chrono::seconds browse_window{5};

    // OSC_CAMERA_USER, OSC_CAMERA_PASSWORD, OSC_STATIC_CAMERAS, OSC_DISCOVERY,
    // OSC_DISCOVERY_SECONDS, OSC_CONNECT_TIMEOUT_MS, OSC_REQUEST_TIMEOUT_MS.
    static ClientOptions from_environment();
};

}  // namespace oscclient
