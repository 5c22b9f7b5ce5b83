#include "model/parameter_report.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "model/roi_report.h"

namespace model {

namespace {

bool carries_roi_layout(int mode) {
    return mode == 2 || mode == 3;
}

// One format name is written as a plain string, several as an array, none
// not at all.
void add_format_types(nlohmann::json& resolution, const std::vector<std::string>& types) {
    if (types.size() == 1) {
        resolution["type"] = types.front();
    } else if (types.size() > 1) {
        resolution["type"] = types;
    }
}

// support_types and support_fps are parallel to support_resolution when
// reported at all; a short list ends the array rather than being read past.
nlohmann::json supported_resolutions(const CAM_PARAM& snapshot) {
    const bool with_types = !snapshot.support_types.empty();
    const bool with_fps = !snapshot.support_fps.empty();
    std::size_t count = snapshot.support_resolution.size();
    if (with_types) count = std::min(count, snapshot.support_types.size());
    if (with_fps) count = std::min(count, snapshot.support_fps.size());

    nlohmann::json resolutions = nlohmann::json::array();
    for (std::size_t i = 0; i < count; ++i) {
        const Resolution& size = snapshot.support_resolution[i];
        nlohmann::json resolution = {{"width", size.width}, {"height", size.height}};
        if (with_types) add_format_types(resolution, snapshot.support_types[i]);
        if (with_fps) {
            resolution["fpsMin"] = snapshot.support_fps[i].fpsMin;
            resolution["fpsMax"] = snapshot.support_fps[i].fpsMax;
        }
        resolutions.push_back(std::move(resolution));
    }
    return resolutions;
}

nlohmann::json field_of_view(const CAM_PARAM& snapshot) {
    return {
        {"max_fovH", snapshot.max_fovH},
        {"max_fovV", snapshot.max_fovV},
        // Stored as float; written as the widened double, not re-rounded.
        {"h_start_deg", static_cast<double>(snapshot.h_start_deg)},
        {"v_start_deg", static_cast<double>(snapshot.v_start_deg)},
    };
}

}  // namespace

nlohmann::json parameter_object(const CAM_PARAM& snapshot, bool got_param) {
    const CAM_PARAM& s = snapshot;
    nlohmann::json doc = {
        {"got_param", got_param},
        {"mode", s.mode},
        {"brightness_min", s.brightness_min},
        {"brightness_max", s.brightness_max},
        {"brightness_current", s.brightness_current},
        {"contrast_min", s.contrast_min},
        {"contrast_max", s.contrast_max},
        {"contrast_current", s.contrast_current},
        {"sharpness_min", s.sharpness_min},
        {"sharpness_max", s.sharpness_max},
        {"sharpness_current", s.sharpness_current},
        {"awb_min", s.awb_min},
        {"awb_max", s.awb_max},
        {"awb_current", s.awb_current},
        {"autoawb_min", s.autoawb_min},
        {"autoawb_max", s.autoawb_max},
        {"autoawb_current", s.autoawb_current},
        {"saturation_min", s.saturation_min},
        {"saturation_max", s.saturation_max},
        {"saturation_current", s.saturation_current},
        {"antiflicker_min", s.antiflicker_min},
        {"antiflicker_max", s.antiflicker_max},
        {"antiflicker_current", s.antiflicker_current},
        {"vertical_flipped", s.vertical_flipped},
        {"wdr_value", s.wdr_value},
        {"hdr_value", s.hdr_value},
        {"tilt_shift", s.tilt_shift},
    };
    if (carries_roi_layout(s.mode)) doc["_roi"] = roi_object(s);

    doc["manufacturer"] = s.manufacturer;
    doc["model"] = s.model;
    doc["chipid"] = s.chipid;
    doc["serial"] = s.serial;
    doc["ast1220_ver"] = s.ast1220_ver;
    doc["ast1230_ver"] = s.ast1230_ver;
    doc["support_resolution"] = supported_resolutions(s);
    doc["current_resolution"] = {{"width", s.current_resolution.width},
                                 {"height", s.current_resolution.height}};
    doc["encode_type"] = s.encode_type;
    doc["framerate"] = s.framerate;
    doc["bitrate"] = s.bitrate;
    doc["gop"] = s.gop;
    doc["fov"] = field_of_view(s);
    doc["is_static_ip"] = s.is_static_ip;
    doc["static_ip"] = s.static_ip;
    doc["gateway"] = s.gateway;
    doc["mask"] = s.mask;
    doc["enable_log_server"] = s.enable_log_server;
    doc["log_server_ip"] = s.log_server_ip;
    doc["log_server_port"] = s.log_server_port;
    doc["camera_name"] = s.camera_name;
    doc["auth_enabled"] = s.auth_enabled;
    doc["http_port"] = s.http_port;
    doc["https_port"] = s.https_port;
    doc["rtsp_port"] = s.rtsp_port;
    doc["oem_fw_version"] = s.oem_fw_version;
    return doc;
}

std::string parameter_document(const CAM_PARAM& snapshot, bool got_param) {
    return parameter_object(snapshot, got_param).dump();
}

}  // namespace model
