// The camera settings a host changes with one integer, each with its exported
// setter, where the parameter document holds its value, and the range a value
// must lie in. One table and one range check for every host.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace oschost {

struct Range {
    int min = 0;
    int max = 0;
};

struct Setting {
    const char* name;   // as hosts spell it: "brightness"
    const char* label;  // for people: "Brightness"
    const char* unit;   // "K", "kbit/s" or ""
    void (*set)(const char* ip, int port, int value);
    const char* command;  // the exported operation, the name its result comes under
    // The handler reports the answer under `command`; otherwise only the
    // camera's answer to the request queued under that name shows it.
    bool confirmed;
    const char* member;  // the current value in the parameter document
    // Where the document states the range ("brightness_min"...), or null; or a
    // range that never changes. Neither: the camera judges the value.
    const char* min_member;
    const char* max_member;
    std::optional<Range> fixed;

    bool advertised() const { return min_member != nullptr; }
};

const std::vector<Setting>& settings();
const Setting* find_setting(std::string_view name);

enum class RangeVerdict {
    Within,
    Outside,
    // The camera states the range in its document, which has not arrived.
    NotKnownYet,
    // No range to check against; the camera judges the value.
    Unchecked,
};

struct RangeCheck {
    RangeVerdict verdict;
    Range range;  // the range checked against, for Within and Outside
};

// `document` is the camera's parameter document, or null before it arrived.
RangeCheck check_range(const Setting& setting, int value, const nlohmann::json* document);

}  // namespace oschost
