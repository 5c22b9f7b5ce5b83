#include "settings_table.h"

#include "IVeskOSCHandlerInst.h"

namespace oschost {

namespace {

// The stream modes the camera knows (its "_imrxMode"); no document states them.
constexpr Range kModes{0, 3};

std::optional<Range> advertised_range(const Setting& setting, const nlohmann::json& document) {
    const auto min = document.find(setting.min_member);
    const auto max = document.find(setting.max_member);
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
         "brightness_min",
         "brightness_max",
         {}},
        {"contrast",
         "Contrast",
         "",
         SetContrast,
         "SetContrast",
         true,
         "contrast_current",
         "contrast_min",
         "contrast_max",
         {}},
        {"saturation",
         "Saturation",
         "",
         SetSaturation,
         "SetSaturation",
         true,
         "saturation_current",
         "saturation_min",
         "saturation_max",
         {}},
        {"sharpness",
         "Sharpness",
         "",
         SetSharpness,
         "SetSharpness",
         true,
         "sharpness_current",
         "sharpness_min",
         "sharpness_max",
         {}},
        {"awb",
         "White balance",
         "K",
         SetAWB,
         "SetAWB",
         true,
         "awb_current",
         "awb_min",
         "awb_max",
         {}},
        {"autoawb",
         "Auto white balance",
         "",
         SetAutoAWB,
         "SetAutoAWB",
         true,
         "autoawb_current",
         "autoawb_min",
         "autoawb_max",
         {}},
        {"antiflicker",
         "Anti-flicker",
         "",
         SetAntiFlicker,
         "SetAntiFlicker",
         true,
         "antiflicker_current",
         "antiflicker_min",
         "antiflicker_max",
         {}},
        {"wdr", "WDR", "", SetWDRValue, "SetWDRValue", true, "wdr_value", nullptr, nullptr, {}},
        {"hdr", "HDR", "", SetHDRValue, "SetHDRValue", true, "hdr_value", nullptr, nullptr, {}},
        {"tiltshift",
         "Tilt shift",
         "",
         SetTiltShift,
         "SetTiltShift",
         true,
         "tilt_shift",
         nullptr,
         nullptr,
         {}},
        {"bitrate",
         "Bitrate",
         "kbit/s",
         SetBitrate,
         "SetBitrate",
         false,
         "bitrate",
         nullptr,
         nullptr,
         {}},
        {"mode", "Mode", "", SetMode, "SetMode", true, "mode", nullptr, nullptr, kModes},
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
    if (setting.advertised()) {
        if (!document) return {RangeVerdict::NotKnownYet, {}};
        range = advertised_range(setting, *document);
    }
    if (!range) return {RangeVerdict::Unchecked, {}};
    const bool within = value >= range->min && value <= range->max;
    return {within ? RangeVerdict::Within : RangeVerdict::Outside, *range};
}

}  // namespace oschost
