// A "camera.getOptions" answer, read member by member in a fixed order;
// absent members leave their fields as they were.
#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "responses/encoder_settings.h"
#include "responses/json_read.h"
#include "responses/module_version.h"
#include "responses/parsers.h"

namespace responses {
namespace {

struct PictureControl {
    const char* capability_key;
    const char* current_key;
    int CAM_PARAM::*min;
    int CAM_PARAM::*max;
    int CAM_PARAM::*current;
};

constexpr PictureControl kPictureControls[] = {
    {"_brightnessSupport", "_brightness", &CAM_PARAM::brightness_min, &CAM_PARAM::brightness_max,
     &CAM_PARAM::brightness_current},
    {"_contrastSupport", "_contrast", &CAM_PARAM::contrast_min, &CAM_PARAM::contrast_max,
     &CAM_PARAM::contrast_current},
    {"_saturationSupport", "_saturation", &CAM_PARAM::saturation_min, &CAM_PARAM::saturation_max,
     &CAM_PARAM::saturation_current},
    {"_sharpnessSupport", "_sharpness", &CAM_PARAM::sharpness_min, &CAM_PARAM::sharpness_max,
     &CAM_PARAM::sharpness_current},
    {"_antiflickerSupport", "_antiflicker", &CAM_PARAM::antiflicker_min,
     &CAM_PARAM::antiflicker_max, &CAM_PARAM::antiflicker_current},
    {"_awbSupport", "_awb", &CAM_PARAM::awb_min, &CAM_PARAM::awb_max, &CAM_PARAM::awb_current},
    {"_autoAwbSupport", "_autoAwb", &CAM_PARAM::autoawb_min, &CAM_PARAM::autoawb_max,
     &CAM_PARAM::autoawb_current},
};

// From this generation on the AST1230 version needs its own query before
// the parameters count as complete.
constexpr int kFirstGenerationWithVersionQuery = 8;

// Deliberately never offered to the host.
constexpr Resolution kHiddenResolution{3840, 3120};

void read_picture_controls(ResponseSink& sink, const json& options) {
    sink.update([&options](CAM_PARAM& camera) {
        for (const auto& control : kPictureControls) {
            if (const json* range = find_member(options, control.capability_key)) {
                camera.*control.min = read_int(range->at("min"));
                camera.*control.max = read_int(range->at("max"));
            }
            if (const json* current = find_member(options, control.current_key)) {
                camera.*control.current = read_int(*current);
            }
        }
    });
}

void read_roi_param(const json& param, video_roi_param& roi) {
    roi.srcX = read_u16(param.at("srcX"));
    roi.srcY = read_u16(param.at("srcY"));
    roi.srcW = read_u16(param.at("srcW"));
    roi.srcH = read_u16(param.at("srcH"));
    roi.dstX = read_u16(param.at("dstX"));
    roi.dstY = read_u16(param.at("dstY"));
    roi.dstW = read_u16(param.at("dstW"));
    roi.dstH = read_u16(param.at("dstH"));
    roi.projection = read_u8(param.at("projection"));
}

void read_roi(ResponseSink& sink, const json& roi) {
    sink.update([&roi](CAM_PARAM& camera) {
        video_layout_format& layout = camera.roi_layout;
        layout.srcWidth = read_u16(roi.at("srcWidth"));
        layout.srcHeight = read_u16(roi.at("srcHeight"));
        layout.dstWidth = read_u16(roi.at("dstWidth"));
        layout.dstHeight = read_u16(roi.at("dstHeight"));
        layout.roiNum = read_u8(roi.at("roiNum"));
        // "roiNum" is not trusted for the count; the record holds only so many.
        const auto& params = roi.at("roiParam").get_ref<const json::array_t&>();
        const std::size_t stored = std::min(params.size(), std::size(layout.roiParam));
        for (std::size_t i = 0; i < stored; ++i) read_roi_param(params[i], layout.roiParam[i]);
    });
    if (sink.roi_requested()) sink.notify_rois();
}

void read_imrx_mode(ResponseSink& sink, const json& value) {
    const int mode = read_int(value);
    bool mode_query_pending = false;
    sink.update([&](CAM_PARAM& camera) {
        store_mode(camera, mode);
        mode_query_pending = std::exchange(camera.mode_query_pending, false);
    });
    if (mode_query_pending) sink.result("GetMode", true, std::to_string(mode));
}

template <int CAM_PARAM::*Field>
void read_int_field(ResponseSink& sink, const json& value) {
    const int number = read_int(value);
    sink.update([number](CAM_PARAM& camera) { camera.*Field = number; });
}

void read_camera_placement(ResponseSink& sink, const json& value) {
    const bool flipped = read_int(value) != 0;
    sink.update([flipped](CAM_PARAM& camera) { camera.vertical_flipped = flipped; });
}

void read_service_ports(ResponseSink& sink, const json& ports) {
    sink.update([&ports](CAM_PARAM& camera) {
        camera.https_port = read_int(ports.at("https"));
        camera.rtsp_port = read_int(ports.at("rtsp"));
    });
}

void read_module_versions(ResponseSink& sink, const json& versions) {
    bool ask_ast1230_version = false;
    sink.update([&](CAM_PARAM& camera) {
        if (const json* ast1235 = find_member(versions, "AST1235")) {
            camera.ast1230_ver = read_string(*ast1235);
            camera.got_param = true;
        }
        const json* ast1220 = find_member(versions, "AST1220");
        if (ast1220 == nullptr) return;
        camera.ast1220_ver = read_string(*ast1220);
        const int generation = generation_number(camera.ast1220_ver);
        if (generation >= kFirstGenerationWithVersionQuery && camera.ast1230_ver.empty()) {
            ask_ast1230_version = true;
        } else {
            camera.got_param = true;
        }
    });
    if (ask_ast1230_version) sink.queue("GetFwVer1220_1230");
}

std::vector<std::string> read_type_names(const json& type) {
    if (type.is_string()) return {read_string(type)};
    std::vector<std::string> names;
    if (type.is_array()) {
        names.reserve(type.size());
        for (const json& name : type) names.push_back(read_string(name));
    }
    return names;
}

void read_supported_formats(ResponseSink& sink, const json& value) {
    const auto& formats = value.get_ref<const json::array_t&>();
    sink.update([&formats](CAM_PARAM& camera) {
        camera.support_resolution.clear();
        camera.support_fps.clear();
        camera.support_types.clear();
        for (const json& format : formats) {
            const Resolution resolution{read_int(format.at("width")),
                                        read_int(format.at("height"))};
            if (resolution == kHiddenResolution) continue;
            camera.support_resolution.push_back(resolution);
            if (const json* type = find_member(format, "type")) {
                if (type->is_string() || type->is_array()) {
                    camera.support_types.push_back(read_type_names(*type));
                }
            }
            const json* fps_min = find_member(format, "fpsMin");
            const json* fps_max = find_member(format, "fpsMax");
            if (fps_min != nullptr && fps_max != nullptr) {
                camera.support_fps.push_back({read_int(*fps_min), read_int(*fps_max)});
            }
        }
    });
}

void read_field_of_view(const json& fov, CAM_PARAM& camera) {
    camera.max_fovH = read_int(fov.at("max_fovH"));
    camera.max_fovV = read_int(fov.at("max_fovV"));
    if (const json* h_start = find_member(fov, "h_start_deg")) {
        camera.h_start_deg = read_float(*h_start);
    }
    if (const json* v_start = find_member(fov, "v_start_deg")) {
        camera.v_start_deg = read_float(*v_start);
    }
}

void read_preview_format(ResponseSink& sink, const json& value) {
    const json& preview = value.at(0);
    sink.update([&preview](CAM_PARAM& camera) {
        camera.current_resolution = {read_int(preview.at("width")), read_int(preview.at("height"))};
        camera.encode_type = read_string(preview.at("type"));
        camera.framerate = read_int(preview.at("framerate"));
        if (const json* fov = find_member(preview, "fov")) read_field_of_view(*fov, camera);
        if (const json* qp = find_member(preview, "qp")) {
            if (const auto rate = rate_control_from_qp(read_string(*qp))) {
                camera.bitrate = rate->bitrate;
                camera.gop = rate->gop;
            }
        }
    });
}

// Here the progress only goes to the host; the record's update_progress
// follows the update script's own lines.
void read_update_status(ResponseSink& sink, const json& status) {
    report_update_status(sink, status, false);
}

void read_camera_name(ResponseSink& sink, const json& value) {
    const std::string& name = read_string(value);
    sink.update([&name](CAM_PARAM& camera) { camera.camera_name = name; });
}

struct OptionsMember {
    const char* key;
    void (*read)(ResponseSink&, const json& value);
};

// Read after the picture controls, in this order.
constexpr OptionsMember kOptionsMembers[] = {
    {"_roi", read_roi},
    {"_imrxMode", read_imrx_mode},
    {"_wdr", read_int_field<&CAM_PARAM::wdr_value>},
    {"hdr", read_int_field<&CAM_PARAM::hdr_value>},
    {"_tiltShift", read_int_field<&CAM_PARAM::tilt_shift>},
    {"_cameraPlacement", read_camera_placement},
    {"_servicePort", read_service_ports},
    {"_imrxVersion", read_module_versions},
    {"_fileFormatPreviewSupport", read_supported_formats},
    {"_fileFormatPreview", read_preview_format},
    {"_updateStatus", read_update_status},
    {"_cameraName", read_camera_name},
};

}  // namespace

ReadOutcome read_options_reply(ResponseSink& sink, const JsonAnswer& answer) {
    const json* results = find_member(answer.doc, "results");
    if (results == nullptr || !results->is_object()) return {};
    const json* options = find_member(*results, "options");
    if (options == nullptr || !options->is_object()) return {};

    read_picture_controls(sink, *options);
    for (const auto& member : kOptionsMembers) {
        if (const json* value = find_member(*options, member.key)) member.read(sink, *value);
    }
    // Only a reply carrying the module versions is a complete parameter set.
    return {options->contains("_imrxVersion")};
}

}  // namespace responses
