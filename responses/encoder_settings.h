// The camera describes its encoder's rate control as text fields; the record
// keeps the bit rate in kbit/s and the GOP length.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace responses {

struct RateControl {
    int bitrate = 0;  // kbit/s
    int gop = 0;
};

// fields[0] is the bit rate in bit/s, fields[1] the GOP length; throws when
// either is missing or not a number.
RateControl rate_control_from_fields(const std::vector<std::string>& fields);

// A preview "qp" text: ';'-separated parts, the last "rc(bits,gop" part wins.
std::optional<RateControl> rate_control_from_qp(const std::string& qp);

}  // namespace responses
