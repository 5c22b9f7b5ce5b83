// The per-camera record: reported parameters, values queued for sending and
// the small request/answer state. A plain value type; the handler guards each
// live record with its camera's lock (see workers/camera_entry.h).
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "IVeskOSCHandlerInst.h"
#include "IVeskOSCTexts.h"

struct Resolution {
    int width = 0;
    int height = 0;
    bool operator==(const Resolution& o) const { return width == o.width && height == o.height; }
};

struct FrameRateRange {
    int fpsMin = 0;
    int fpsMax = 0;
    bool operator==(const FrameRateRange& o) const {
        return fpsMin == o.fpsMin && fpsMax == o.fpsMax;
    }
};

inline constexpr int kDefaultHttpPort = osc_texts::kDefaultHttpPort;
inline constexpr int kDefaultHttpsPort = 443;
inline constexpr int kDefaultRtspPort = 554;

struct CAM_PARAM {
    bool got_param = false;
    int mode = 0;
    int brightness_min = 0;
    int brightness_max = 0;
    int brightness_current = 0;
    int contrast_min = 0;
    int contrast_max = 0;
    int contrast_current = 0;
    int sharpness_min = 0;
    int sharpness_max = 0;
    int sharpness_current = 0;
    int awb_min = 0;
    int awb_max = 0;
    int awb_current = 0;
    int autoawb_min = 0;
    int autoawb_max = 0;
    int autoawb_current = 0;
    int saturation_min = 0;
    int saturation_max = 0;
    int saturation_current = 0;
    int antiflicker_min = 0;
    int antiflicker_max = 0;
    int antiflicker_current = 0;
    int wdr_value = -1;  // -1: never reported
    int hdr_value = -1;  // -1: never reported
    int max_fovH = 0;
    int max_fovV = 0;
    int tilt_shift = 0;
    float h_start_deg = 0.0f;
    float v_start_deg = 0.0f;
    bool vertical_flipped = false;
    std::string ast1220_ver;
    std::string ast1230_ver;
    std::vector<std::vector<std::string>> support_types;  // parallel to support_resolution
    std::vector<Resolution> support_resolution;
    std::vector<FrameRateRange> support_fps;  // parallel to support_resolution
    Resolution current_resolution;
    std::string encode_type = "h264";
    int framerate = 30;
    int bitrate = 15;
    int gop = 60;
    bool spare_flag_1 = false;
    // Zero-filled so that a camera never told its layout reports roiNum 0.
    video_layout_format roi_layout{};
    std::string roi_json;
    bool spare_flag_2 = false;
    std::string manufacturer;
    std::string model;
    std::string chipid;
    std::string serial;
    std::string fw_1220_path;
    std::string fw_1230_path_1;
    std::string fw_1230_path_2;
    std::string fw_1230_path_3;
    bool spare_flag_3 = false;
    bool is_static_ip = false;
    std::string static_ip;
    std::string gateway;
    std::string mask;
    bool spare_flag_4 = false;
    std::string log_server_ip;
    int log_server_port = 0;
    bool enable_log_server = false;
    bool spare_flag_5 = false;
    int http_port = kDefaultHttpPort;
    int https_port = kDefaultHttpsPort;
    int rtsp_port = kDefaultRtspPort;
    bool spare_flag_6 = false;
    bool auth_enabled = false;
    std::uint8_t spare_byte = 0;
    std::string camera_name;
    bool process_ok = false;
    bool in_preview = false;
    float cpu_usage = 0.0f;
    float memory_usage = 0.0f;
    int slot_index = -1;  // -1: no worker slot yet
    std::string cmdline;
    std::string oem_fw_version;
    bool oem_version_pending = false;
    int update_progress = 0;
    std::string capture_id;
    bool version_query_pending = false;
    bool mode_query_pending = false;
};
