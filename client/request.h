// One camera request as the client queues it: where it goes, what it carries,
// and how the camera's answer becomes the text handed to the handler.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace oscclient {

enum class Shape {
    AsSent,          // the camera's answer, byte for byte
    WithFunc,        // "func" set to the camera-side name
    NamedState,      // "name": "state" added to the /osc/state answer
    NamedReboot,     // "name": "reboot"
    ModuleVersions,  // command-line version lines as an options reply
    CaptureStarted,  // integer "id", "func" added; the id is remembered
    CaptureStatus,   // "func": "GetCaptureStatus", text "id"
};

struct Request {
    bool get = false;  // GET without a body; otherwise POST with `body`
    std::string path = "/osc/commands/execute";
    nlohmann::json body;
    std::string name;  // OSC command named in failure documents
    std::string func;  // camera-side function name
    Shape shape = Shape::AsSent;
};

}  // namespace oscclient
