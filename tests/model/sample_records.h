// Records shared by the model tests: one with every field set to a distinct
// value, and the ROI layout that goes with it.
#pragma once

#include <cstdint>

#include "model/cam_param.h"

namespace model_test {

inline video_roi_param roi(std::uint16_t srcX, std::uint16_t srcY, std::uint16_t srcW,
                           std::uint16_t srcH, std::uint16_t dstX, std::uint16_t dstY,
                           std::uint16_t dstW, std::uint16_t dstH, std::uint8_t projection) {
    return {srcX, srcY, srcW, srcH, dstX, dstY, dstW, dstH, projection};
}

// A 3840 x 1920 source composed into 1920 x 1080: one perspective region whose
// own output box (960 x 1080) has a different aspect ratio than the picture,
// and one plain region.
inline video_layout_format two_region_layout() {
    video_layout_format layout{};
    layout.srcWidth = 3840;
    layout.srcHeight = 1920;
    layout.dstWidth = 1920;
    layout.dstHeight = 1080;
    layout.roiNum = 2;
    layout.roi_reserved[0] = 0xAA;
    layout.roi_reserved[1] = 0x55;
    layout.roiParam[0] = roi(0, 0, 960, 500, 0, 0, 960, 1080, 1);
    layout.roiParam[1] = roi(960, 100, 1920, 960, 960, 0, 960, 540, 0);
    return layout;
}

inline CAM_PARAM filled_record(int mode) {
    CAM_PARAM r;
    r.got_param = true;
    r.mode = mode;
    r.brightness_min = -10;
    r.brightness_max = 10;
    r.brightness_current = 3;
    r.contrast_min = 0;
    r.contrast_max = 100;
    r.contrast_current = 50;
    r.sharpness_min = 1;
    r.sharpness_max = 9;
    r.sharpness_current = 5;
    r.awb_min = 2000;
    r.awb_max = 10000;
    r.awb_current = 5500;
    r.autoawb_min = 0;
    r.autoawb_max = 1;
    r.autoawb_current = 1;
    r.saturation_min = 0;
    r.saturation_max = 255;
    r.saturation_current = 128;
    r.antiflicker_min = 0;
    r.antiflicker_max = 2;
    r.antiflicker_current = 1;
    r.wdr_value = 2;
    r.hdr_value = 0;
    r.max_fovH = 360;
    r.max_fovV = 180;
    r.tilt_shift = -4;
    r.h_start_deg = 0.1f;
    r.v_start_deg = -12.5f;
    r.vertical_flipped = true;
    r.ast1220_ver = "1.2.0";
    r.ast1230_ver = "3.4.5-b";
    r.support_types = {{"h264", "h265"}, {"mjpeg"}};
    r.support_resolution = {{3840, 1920}, {1920, 960}};
    r.support_fps = {{1, 30}, {5, 60}};
    r.current_resolution = {1920, 960};
    r.encode_type = "h265";
    r.framerate = 25;
    r.bitrate = 20;
    r.gop = 50;
    r.roi_layout = two_region_layout();
    r.manufacturer = "Acme Optics";
    r.model = "P360";
    r.chipid = "0xA1B2";
    r.serial = "SN-0001";
    r.is_static_ip = true;
    r.static_ip = "127.0.0.10";
    r.gateway = "127.0.0.1";
    r.mask = "255.0.0.0";
    r.log_server_ip = "127.0.0.2";
    r.log_server_port = 514;
    r.enable_log_server = true;
    r.http_port = 8081;
    r.https_port = 8443;
    r.rtsp_port = 8554;
    r.auth_enabled = true;
    r.camera_name = "Hall \"East\" S\u00fcd";
    r.oem_fw_version = "OEM-7";

    // Internal state that must never reach a report.
    r.spare_flag_1 = r.spare_flag_2 = r.spare_flag_3 = true;
    r.spare_flag_4 = r.spare_flag_5 = r.spare_flag_6 = true;
    r.spare_byte = 7;
    r.roi_json = "{\"internal\":1}";
    r.fw_1220_path = "/tmp/fw1220.bin";
    r.fw_1230_path_1 = "/tmp/a.bin";
    r.fw_1230_path_2 = "/tmp/b.bin";
    r.fw_1230_path_3 = "/tmp/c.bin";
    r.process_ok = true;
    r.in_preview = true;
    r.cpu_usage = 12.5f;
    r.memory_usage = 40.0f;
    r.slot_index = 4;
    r.cmdline = "ast_param g version:all_firmware:version";
    r.oem_version_pending = true;
    r.update_progress = 55;
    r.capture_id = "cap-1";
    r.version_query_pending = true;
    r.mode_query_pending = true;
    return r;
}

}  // namespace model_test
