#include "responses/encoder_settings.h"

#include <string_view>

#include "responses/json_read.h"
#include "responses/string_split.h"

namespace responses {
namespace {

constexpr int kBitsPerKilobit = 1000;
constexpr std::string_view kRateControlMark = "rc(";

}  // namespace

RateControl rate_control_from_fields(const std::vector<std::string>& fields) {
    RateControl rate;
    rate.bitrate = decimal_int(fields.at(0)) / kBitsPerKilobit;
    rate.gop = decimal_int(fields.at(1));
    return rate;
}

std::optional<RateControl> rate_control_from_qp(const std::string& qp) {
    std::optional<RateControl> rate;
    std::vector<std::string> parts;
    std::vector<std::string> fields;
    string_split(qp, parts, ';');
    for (const auto& part : parts) {
        const auto mark_at = part.find(kRateControlMark);
        if (mark_at == std::string::npos) continue;
        string_split(part.substr(mark_at + kRateControlMark.size()), fields, ',');
        rate = rate_control_from_fields(fields);
    }
    return rate;
}

}  // namespace responses
