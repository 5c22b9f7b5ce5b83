#include "sim/option_catalog.h"

#include <functional>
#include <map>

namespace oscsim {

using nlohmann::json;

namespace {

json range(int min, int max) {
    return {{"min", min}, {"max", max}};
}

json default_roi() {
    json params = json::array();
    params.push_back({{"srcX", 0},
                      {"srcY", 0},
                      {"srcW", 1920},
                      {"srcH", 1920},
                      {"dstX", 0},
                      {"dstY", 0},
                      {"dstW", 960},
                      {"dstH", 1080},
                      {"projection", 0}});
    params.push_back({{"srcX", 1920},
                      {"srcY", 0},
                      {"srcW", 1920},
                      {"srcH", 1920},
                      {"dstX", 960},
                      {"dstY", 0},
                      {"dstW", 960},
                      {"dstH", 1080},
                      {"projection", 1}});
    return {{"srcWidth", 3840},  {"srcHeight", 1920}, {"dstWidth", 1920},
            {"dstHeight", 1080}, {"roiNum", 2},       {"roiParam", params}};
}

json preview_support() {
    auto entry = [](int w, int h, int fps_max) {
        return json{{"width", w},
                    {"height", h},
                    {"type", {"h264", "h265"}},
                    {"fpsMin", 1},
                    {"fpsMax", fps_max}};
    };
    return json::array({entry(3840, 1920, 30), entry(5760, 2880, 15), entry(1920, 960, 30),
                        entry(3840, 3120, 30)});
}

using Rule = std::function<std::optional<std::string>(json& options, const std::string& key,
                                                      const json& value)>;

std::optional<std::string> integer_in_support(json& options, const std::string& key,
                                              const json& value) {
    if (!value.is_number_integer()) return key + " must be an integer";
    const json& support = options.at(key + "Support");
    const auto v = value.get<long long>();
    const int min = support.at("min").get<int>();
    const int max = support.at("max").get<int>();
    if (v < min || v > max) return key + " out of range";
    options[key] = v;
    return std::nullopt;
}

std::optional<std::string> any_integer(json& options, const std::string& key, const json& value) {
    if (!value.is_number_integer()) return key + " must be an integer";
    options[key] = value;
    return std::nullopt;
}

Rule integer_between(int min, int max) {
    return [min, max](json& options, const std::string& key,
                      const json& value) -> std::optional<std::string> {
        if (!value.is_number_integer()) return key + " must be an integer";
        const auto v = value.get<long long>();
        if (v < min || v > max)
            return key + " out of range (" + std::to_string(min) + ".." + std::to_string(max) + ")";
        options[key] = v;
        return std::nullopt;
    };
}

std::optional<std::string> boolean(json& options, const std::string& key, const json& value) {
    if (!value.is_boolean()) return key + " must be a boolean";
    options[key] = value;
    return std::nullopt;
}

std::optional<std::string> text(json& options, const std::string& key, const json& value) {
    if (!value.is_string()) return key + " must be a string";
    options[key] = value;
    return std::nullopt;
}

std::optional<std::string> read_only(json&, const std::string& key, const json&) {
    return key + " is read only";
}

// Merges the members of an object option, each checked against the type of
// the member it replaces.
std::optional<std::string> merge_object(json& options, const std::string& key, const json& value) {
    if (!value.is_object()) return key + " must be an object";
    json merged = options[key];
    for (const auto& [member, v] : value.items()) {
        if (!merged.contains(member)) return key + "." + member + " is not a member";
        if (merged[member].type() != v.type() &&
            !(merged[member].is_number() && v.is_number_integer()))
            return key + "." + member + " has the wrong type";
        merged[member] = v;
    }
    options[key] = merged;
    return std::nullopt;
}

std::optional<std::string> network(json& options, const std::string& key, const json& value) {
    if (!value.is_object() || !value.contains("mode")) return key + ".mode is missing";
    const std::string mode = value.value("mode", "");
    if (mode == "dhcp") {
        options[key]["mode"] = "dhcp";
        return std::nullopt;
    }
    if (mode != "static") return key + ".mode must be dhcp or static";
    for (const char* member : {"address", "gateway", "mask"}) {
        if (!value.contains(member) || !value[member].is_string() ||
            value[member].get<std::string>().empty())
            return key + "." + member + " is missing";
    }
    return merge_object(options, key, value);
}

std::optional<std::string> roi(json& options, const std::string& key, const json& value) {
    if (!value.is_object()) return key + " must be an object";
    if (!value.contains("roiParam") || !value["roiParam"].is_array())
        return key + ".roiParam must be an array";
    if (value["roiParam"].size() > 15) return key + " holds more than 15 regions";
    options[key] = value;
    return std::nullopt;
}

// The encoder's limits, in kbit/s.
constexpr int kBitrateMin = 1;
constexpr int kBitrateMax = 100000;

std::optional<std::string> bitrate_error(const std::string& key, const json& value) {
    if (!value.is_number_integer()) return key + " must be an integer";
    const auto v = value.get<long long>();
    if (v < kBitrateMin || v > kBitrateMax)
        return key + " out of range (" + std::to_string(kBitrateMin) + ".." +
               std::to_string(kBitrateMax) + " kbit/s)";
    return std::nullopt;
}

std::optional<std::string> bitrate(json& options, const std::string& key, const json& value) {
    if (auto error = bitrate_error(key, value)) return error;
    options[key] = value;
    json& preview = options["_fileFormatPreview"][0];
    preview["bitrate"] = value;
    preview["qp"] = encoder_settings(value.get<int>(), preview.value("gop", 60));
    return std::nullopt;
}

bool supported(const json& options, int width, int height) {
    for (const json& e : options["_fileFormatPreviewSupport"]) {
        if (e["width"] == width && e["height"] == height) return true;
    }
    return false;
}

std::optional<std::string> preview_format(json& options, const std::string& key,
                                          const json& value) {
    if (!value.is_array() || value.size() != 1 || !value[0].is_object())
        return key + " must be an array of one object";
    const json& in = value[0];
    json preview = options[key][0];
    for (const char* member : {"width", "height", "framerate", "bitrate", "gop"}) {
        if (!in.contains(member)) continue;
        if (!in[member].is_number_integer() || in[member].get<int>() <= 0)
            return key + "." + member + " must be a positive integer";
        if (std::string(member) == "bitrate") {
            if (auto error = bitrate_error(key + ".bitrate", in[member])) return error;
        }
        preview[member] = in[member];
    }
    if (in.contains("type")) {
        if (!in["type"].is_string()) return key + ".type must be a string";
        preview["type"] = in["type"];
    }
    if (!supported(options, preview["width"].get<int>(), preview["height"].get<int>()))
        return "unsupported preview resolution";
    preview["qp"] = encoder_settings(preview["bitrate"].get<int>(), preview["gop"].get<int>());
    options[key][0] = preview;
    options["_bitrate"] = preview["bitrate"];
    return std::nullopt;
}

const std::map<std::string, Rule>& rules() {
    static const std::map<std::string, Rule> table = {
        {"_brightness", integer_in_support},
        {"_contrast", integer_in_support},
        {"_saturation", integer_in_support},
        {"_sharpness", integer_in_support},
        {"_antiflicker", integer_in_support},
        {"_awb", integer_in_support},
        {"_autoAwb", integer_in_support},
        {"_brightnessSupport", read_only},
        {"_contrastSupport", read_only},
        {"_saturationSupport", read_only},
        {"_sharpnessSupport", read_only},
        {"_antiflickerSupport", read_only},
        {"_awbSupport", read_only},
        {"_autoAwbSupport", read_only},
        {"_imrxVersion", read_only},
        {"_fileFormatPreviewSupport", read_only},
        {"_updateStatus", read_only},
        {"_roi", roi},
        {"_imrxMode", integer_between(0, 3)},
        {"_wdr", any_integer},
        {"hdr", any_integer},
        {"_tiltShift", any_integer},
        {"_cameraPlacement", integer_between(0, 1)},
        {"_servicePort", merge_object},
        {"_fileFormatPreview", preview_format},
        {"_bitrate", bitrate},
        {"_cameraName", text},
        {"_network", network},
        {"_syslog", merge_object},
        {"_authEnable", boolean},
        {"_gyro", boolean},
    };
    return table;
}

}  // namespace

std::string encoder_settings(int bitrate_kbps, int gop) {
    return "qp(22,45);rc(" + std::to_string(static_cast<long long>(bitrate_kbps) * 1000) + "," +
           std::to_string(gop) + ")";
}

json default_options(int http_port, const std::string& camera_name) {
    json o;
    o["_brightnessSupport"] = range(0, 100);
    o["_brightness"] = 50;
    o["_contrastSupport"] = range(0, 100);
    o["_contrast"] = 50;
    o["_saturationSupport"] = range(0, 100);
    o["_saturation"] = 50;
    o["_sharpnessSupport"] = range(0, 100);
    o["_sharpness"] = 50;
    o["_antiflickerSupport"] = range(0, 2);
    o["_antiflicker"] = 1;
    o["_awbSupport"] = range(2800, 6500);
    o["_awb"] = 5000;
    o["_autoAwbSupport"] = range(0, 1);
    o["_autoAwb"] = 1;
    o["_roi"] = default_roi();
    o["_imrxMode"] = 1;
    o["_wdr"] = 0;
    o["hdr"] = 0;
    o["_tiltShift"] = 0;
    o["_cameraPlacement"] = 0;
    o["_servicePort"] = {{"http", http_port}, {"https", 443}, {"rtsp", 554}};
    o["_fileFormatPreviewSupport"] = preview_support();
    o["_fileFormatPreview"] = json::array(
        {{{"width", 3840},
          {"height", 1920},
          {"type", "h264"},
          {"framerate", 30},
          {"bitrate", 4000},
          {"gop", 60},
          {"fov",
           {{"max_fovH", 360}, {"max_fovV", 180}, {"h_start_deg", 0.0}, {"v_start_deg", 0.0}}},
          {"qp", encoder_settings(4000, 60)}}});
    o["_bitrate"] = 4000;
    o["_updateStatus"] = {{"progress", 0}, {"target", ""}, {"description", "idle"}};
    o["_cameraName"] = camera_name;
    o["_network"] = {{"mode", "dhcp"},
                     {"address", "127.0.0.1"},
                     {"mask", "255.0.0.0"},
                     {"gateway", "127.0.0.1"}};
    o["_syslog"] = {{"enable", false}, {"server", ""}, {"port", 514}};
    o["_authEnable"] = false;
    o["_gyro"] = false;
    return o;
}

std::optional<std::string> apply_option(json& options, const std::string& key, const json& value) {
    const auto rule = rules().find(key);
    if (rule == rules().end()) return "unknown option " + key;
    return rule->second(options, key, value);
}

}  // namespace oscsim
