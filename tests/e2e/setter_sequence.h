// A fixed run of setters, each landing in one camera option, and the way to
// read back from a camera's request log which options reached it, in order.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "IVeskOSCHandlerInst.h"
#include "sim/camera_sim.h"

namespace e2e {

using Setter = void (*)(const char*, int, int);

struct QueuedSetter {
    const char* command;
    Setter set;
    int value;
    const char* option;
};

inline const std::vector<QueuedSetter>& setter_sequence() {
    static const std::vector<QueuedSetter> sequence = {
        {"SetBrightness", SetBrightness, 21, "_brightness"},
        {"SetContrast", SetContrast, 22, "_contrast"},
        {"SetSaturation", SetSaturation, 23, "_saturation"},
        {"SetSharpness", SetSharpness, 24, "_sharpness"},
        {"SetWDRValue", SetWDRValue, 25, "_wdr"},
        {"SetHDRValue", SetHDRValue, 26, "hdr"},
    };
    return sequence;
}

inline std::vector<std::string> sequence_options() {
    std::vector<std::string> out;
    for (const auto& s : setter_sequence()) out.push_back(s.option);
    return out;
}

// The option each setOptions request of the camera carried, in arrival order.
inline std::vector<std::string> options_set(const oscsim::CameraSim& camera) {
    std::vector<std::string> out;
    for (const auto& r : camera.requests()) {
        if (r.command != "camera.setOptions") continue;
        const auto body = nlohmann::json::parse(r.body);
        for (const auto& [name, value] : body.at("parameters").at("options").items()) {
            out.push_back(name);
        }
    }
    return out;
}

}  // namespace e2e
