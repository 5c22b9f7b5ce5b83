#include "settings_table.h"

#include "IVeskOSCHandlerInst.h"

namespace oschost {

namespace {

// The stream modes the camera knows (its "_imrxMode"); no document states them.
constexpr Range kModes{0, 3};

std::optional<Range> advertised_range(const std::string& name, const nlohmann::json& document) {
    const auto min = document.find(name + "_min");
    const auto max = document.find(name + "_max");
    if (min == document.end() || max == document.end() || !min->is_number_integer() ||
        !max->is_number_integer())
        return std::nullopt;
    return Range{min->get<int>(), max->get<int>()};
}

}  // namespace

const std::vector<Setting>& settings() {
    static const std::vector<Setting> table{
        {"brightness",
         "Brightness",
         "",
         SetBrightness,
         "SetBrightness",
         true,
         "brightness_current",
         true,
         {}},
        {"contrast",
         "Contrast",
         "",
         SetContrast,
         "SetContrast",
         true,
         "contrast_current",
         true,
         {}},
        {"saturation",
         "Saturation",
         "",
         SetSaturation,
         "SetSaturation",
         true,
         "saturation_current",
         true,
         {}},
        {"sharpness",
         "Sharpness",
         "",
         SetSharpness,
         "SetSharpness",
         true,
         "sharpness_current",
         true,
         {}},
        {"awb", "White balance", "K", SetAWB, "SetAWB", true, "awb_current", true, {}},
        {"autoawb",
         "Auto white balance",
         "",
         SetAutoAWB,
         "SetAutoAWB",
         true,
         "autoawb_current",
         true,
         {}},
        {"antiflicker",
         "Anti-flicker",
         "",
         SetAntiFlicker,
         "SetAntiFlicker",
         true,
         "antiflicker_current",
         true,
         {}},
        {"wdr", "WDR", "", SetWDRValue, "SetWDRValue", true, "wdr_value", false, {}},
        {"hdr", "HDR", "", SetHDRValue, "SetHDRValue", true, "hdr_value", false, {}},
        {"tiltshift",
         "Tilt shift",
         "",
         SetTiltShift,
         "SetTiltShift",
         true,
         "tilt_shift",
         false,
         {}},
        {"bitrate", "Bitrate", "kbit/s", SetBitrate, "SetBitrate", false, "bitrate", false, {}},
        {"mode", "Mode", "", SetMode, "SetMode", true, "mode", false, kModes},
    };
    return table;
}

const Setting* find_setting(std::string_view name) {
    for (const Setting& setting : settings())
        if (name == setting.name) return &setting;
    return nullptr;
}

RangeCheck check_range(const Setting& setting, int value, const nlohmann::json* document) {
    std::optional<Range> range = setting.fixed;
    if (setting.advertised) {
        if (!document) return {RangeVerdict::NotKnownYet, {}};
        range = advertised_range(setting.name, *document);
    }
    if (!range) return {RangeVerdict::Unchecked, {}};
    const bool within = value >= range->min && value <= range->max;
    return {within ? RangeVerdict::Within : RangeVerdict::Outside, *range};
}

}  // namespace oschost
