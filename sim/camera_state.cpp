#include "sim/camera_state.h"

#include "sim/option_catalog.h"

namespace oscsim {

CameraState CameraState::from_config(const SimConfig& config, int http_port) {
    CameraState s;
    s.options = default_options(http_port, config.camera_name);
    s.saved_options = s.options;
    s.model = config.model;
    s.manufacturer = config.manufacturer;
    s.serial = config.serial;
    s.chip_id = config.chip_id;
    s.ast1220_version = config.ast1220_version;
    s.ast1235_version = config.ast1235_version;
    s.capture_time = config.capture_time;
    return s;
}

void CameraState::reboot() {
    options = saved_options;
    options["_updateStatus"] = {{"progress", 0}, {"target", ""}, {"description", "idle"}};
    streaming = false;
    captures.clear();
    uploads.clear();
    updating = false;
    ++reboots;
    booted = std::chrono::steady_clock::now();
}

nlohmann::json CameraState::snapshot() const {
    nlohmann::json uploaded = nlohmann::json::object();
    nlohmann::json digests = nlohmann::json::object();
    for (const auto& [name, file] : uploads) {
        uploaded[name] = file.size;
        digests[name] = file.sha256;
    }
    return {{"options", options},
            {"saved_options", saved_options},
            {"model", model},
            {"ast1220_version", ast1220_version},
            {"ast1235_version", ast1235_version},
            {"streaming", streaming},
            {"uploads", uploaded},
            {"upload_sha256", digests},
            {"updating", updating},
            {"reboots", reboots},
            {"captures", captures.size()}};
}

}  // namespace oscsim
