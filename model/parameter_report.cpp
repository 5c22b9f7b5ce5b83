#include "model/parameter_report.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "model/roi_report.h"

namespace model {

namespace {

bool carries_roi_layout(int mode) {
    return mode == 2 || mode == 3;
}

}  // namespace

namespace {

// The document is written as text directly, compact with its keys in byte
// order as the JSON library would write it, without building an object: for
// an options reply that build and its dump cost as much as parsing the reply.
void append_number(std::string& out, long long value) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out.append(digits, end);
}

void append_bool(std::string& out, bool value) {
    out += value ? "true" : "false";
}

// Printable ASCII needs only quotes and backslashes escaped; any other text
// goes through the library, which also rejects invalid UTF-8.
void append_text(std::string& out, const std::string& text) {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7f) {
            out += nlohmann::json(text).dump();
            return;
        }
    }
    out += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    out += '"';
}

void append_double(std::string& out, double value) {
    out += nlohmann::json(value).dump();
}

using Snapshot = const CAM_PARAM&;

template <int CAM_PARAM::*Field>
void write_int(std::string& out, Snapshot s, bool) {
    append_number(out, s.*Field);
}

template <bool CAM_PARAM::*Field>
void write_bool(std::string& out, Snapshot s, bool) {
    append_bool(out, s.*Field);
}

template <std::string CAM_PARAM::*Field>
void write_text(std::string& out, Snapshot s, bool) {
    append_text(out, s.*Field);
}

void write_got_param(std::string& out, Snapshot, bool got_param) {
    append_bool(out, got_param);
}

void write_roi(std::string& out, Snapshot s, bool) {
    out += roi_object(s).dump();
}

void write_current_resolution(std::string& out, Snapshot s, bool) {
    out += "{\"height\":";
    append_number(out, s.current_resolution.height);
    out += ",\"width\":";
    append_number(out, s.current_resolution.width);
    out += '}';
}

void write_fov(std::string& out, Snapshot s, bool) {
    out += "{\"h_start_deg\":";
    append_double(out, static_cast<double>(s.h_start_deg));
    out += ",\"max_fovH\":";
    append_number(out, s.max_fovH);
    out += ",\"max_fovV\":";
    append_number(out, s.max_fovV);
    out += ",\"v_start_deg\":";
    append_double(out, static_cast<double>(s.v_start_deg));
    out += '}';
}

// Supported resolutions, in key order. support_types and support_fps are
// parallel to support_resolution when reported at all; a short list ends the
// array rather than being read past. One format name is a plain string,
// several an array, none no member.
void write_support_resolution(std::string& out, Snapshot s, bool) {
    const bool with_types = !s.support_types.empty();
    const bool with_fps = !s.support_fps.empty();
    std::size_t count = s.support_resolution.size();
    if (with_types) count = std::min(count, s.support_types.size());
    if (with_fps) count = std::min(count, s.support_fps.size());
    out += '[';
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) out += ',';
        out += '{';
        if (with_fps) {
            out += "\"fpsMax\":";
            append_number(out, s.support_fps[i].fpsMax);
            out += ",\"fpsMin\":";
            append_number(out, s.support_fps[i].fpsMin);
            out += ',';
        }
        out += "\"height\":";
        append_number(out, s.support_resolution[i].height);
        if (with_types) {
            const std::vector<std::string>& types = s.support_types[i];
            if (types.size() == 1) {
                out += ",\"type\":";
                append_text(out, types.front());
            } else if (types.size() > 1) {
                out += ",\"type\":[";
                for (std::size_t t = 0; t < types.size(); ++t) {
                    if (t > 0) out += ',';
                    append_text(out, types[t]);
                }
                out += ']';
            }
        }
        out += ",\"width\":";
        append_number(out, s.support_resolution[i].width);
        out += '}';
    }
    out += ']';
}

struct Member {
    const char* key;
    void (*write)(std::string& out, Snapshot s, bool got_param);
};

// Every member of the document, sorted once into key order.
// Never destroyed: workers may still report while the process exits.
const std::vector<Member>& members_in_key_order() {
    static const auto* const members = new std::vector<Member>([] {
        using C = CAM_PARAM;
        std::vector<Member> m = {
            {"got_param", write_got_param},
            {"mode", write_int<&C::mode>},
            {"brightness_min", write_int<&C::brightness_min>},
            {"brightness_max", write_int<&C::brightness_max>},
            {"brightness_current", write_int<&C::brightness_current>},
            {"contrast_min", write_int<&C::contrast_min>},
            {"contrast_max", write_int<&C::contrast_max>},
            {"contrast_current", write_int<&C::contrast_current>},
            {"sharpness_min", write_int<&C::sharpness_min>},
            {"sharpness_max", write_int<&C::sharpness_max>},
            {"sharpness_current", write_int<&C::sharpness_current>},
            {"awb_min", write_int<&C::awb_min>},
            {"awb_max", write_int<&C::awb_max>},
            {"awb_current", write_int<&C::awb_current>},
            {"autoawb_min", write_int<&C::autoawb_min>},
            {"autoawb_max", write_int<&C::autoawb_max>},
            {"autoawb_current", write_int<&C::autoawb_current>},
            {"saturation_min", write_int<&C::saturation_min>},
            {"saturation_max", write_int<&C::saturation_max>},
            {"saturation_current", write_int<&C::saturation_current>},
            {"antiflicker_min", write_int<&C::antiflicker_min>},
            {"antiflicker_max", write_int<&C::antiflicker_max>},
            {"antiflicker_current", write_int<&C::antiflicker_current>},
            {"vertical_flipped", write_bool<&C::vertical_flipped>},
            {"wdr_value", write_int<&C::wdr_value>},
            {"hdr_value", write_int<&C::hdr_value>},
            {"tilt_shift", write_int<&C::tilt_shift>},
            {"_roi", write_roi},
            {"manufacturer", write_text<&C::manufacturer>},
            {"model", write_text<&C::model>},
            {"chipid", write_text<&C::chipid>},
            {"serial", write_text<&C::serial>},
            {"ast1220_ver", write_text<&C::ast1220_ver>},
            {"ast1230_ver", write_text<&C::ast1230_ver>},
            {"support_resolution", write_support_resolution},
            {"current_resolution", write_current_resolution},
            {"encode_type", write_text<&C::encode_type>},
            {"framerate", write_int<&C::framerate>},
            {"bitrate", write_int<&C::bitrate>},
            {"gop", write_int<&C::gop>},
            {"fov", write_fov},
            {"is_static_ip", write_bool<&C::is_static_ip>},
            {"static_ip", write_text<&C::static_ip>},
            {"gateway", write_text<&C::gateway>},
            {"mask", write_text<&C::mask>},
            {"enable_log_server", write_bool<&C::enable_log_server>},
            {"log_server_ip", write_text<&C::log_server_ip>},
            {"log_server_port", write_int<&C::log_server_port>},
            {"camera_name", write_text<&C::camera_name>},
            {"auth_enabled", write_bool<&C::auth_enabled>},
            {"http_port", write_int<&C::http_port>},
            {"https_port", write_int<&C::https_port>},
            {"rtsp_port", write_int<&C::rtsp_port>},
            {"oem_fw_version", write_text<&C::oem_fw_version>},
        };
        std::sort(m.begin(), m.end(),
                  [](const Member& a, const Member& b) { return std::strcmp(a.key, b.key) < 0; });
        return m;
    }());
    return *members;
}

}  // namespace

std::string parameter_document(const CAM_PARAM& snapshot, bool got_param) {
    std::string out;
    out.reserve(2048);
    out += '{';
    bool first = true;
    for (const Member& member : members_in_key_order()) {
        if (member.write == write_roi && !carries_roi_layout(snapshot.mode)) continue;
        if (!first) out += ',';
        first = false;
        out += '"';
        out += member.key;
        out += "\":";
        member.write(out, snapshot, got_param);
    }
    out += '}';
    return out;
}

}  // namespace model
