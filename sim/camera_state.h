// Everything one simulated camera remembers between requests.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

#include <nlohmann/json.hpp>

#include "sim/sim_config.h"

namespace oscsim {

// Captures a camera keeps; older ones are gone (their pictures answer 404).
constexpr int kKeptCaptures = 64;

struct Capture {
    std::chrono::steady_clock::time_point started;
    std::string command;  // the command whose id this is; status answers name it
};

// An uploaded file as the camera keeps it: never its bytes.
struct StoredFile {
    std::size_t size = 0;
    std::string sha256;  // hex
};

struct CameraState {
    nlohmann::json options;        // the OSC option set, vendor options included
    nlohmann::json saved_options;  // what survives a reboot (AstParamRwSave)
    std::string model;
    std::string manufacturer;
    std::string serial;
    std::string chip_id;
    std::string ast1220_version;
    std::string ast1235_version;
    bool streaming = false;
    bool process_ok = true;
    double cpu_used = 12.5;
    double memory_total = 1024000;
    double memory_used = 256000;
    int next_capture_id = 1;
    // How long a capture takes; zero: it is answered done at once, without an id.
    std::chrono::milliseconds capture_time{300};
    std::map<std::string, Capture> captures;
    std::map<std::string, StoredFile> uploads;  // by stored name
    bool updating = false;
    int reboots = 0;
    std::chrono::steady_clock::time_point booted = std::chrono::steady_clock::now();

    static CameraState from_config(const SimConfig& config, int http_port);
    // The state after a reboot: saved options, no stream, no uploads.
    void reboot();
    nlohmann::json snapshot() const;
};

}  // namespace oscsim
