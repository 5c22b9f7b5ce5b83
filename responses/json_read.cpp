#include "responses/json_read.h"

#include <cfloat>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace responses {
namespace {

[[noreturn]] void throw_out_of_range(const json& value) {
    throw std::out_of_range("camera value out of range: " + value.dump());
}

template <class T>
T read_number(const json& value) {
    using limits = std::numeric_limits<T>;
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number > static_cast<std::uint64_t>(limits::max())) throw_out_of_range(value);
        return static_cast<T>(number);
    }
    if (value.is_number_integer()) {
        const auto number = value.get<std::int64_t>();
        if (number < static_cast<std::int64_t>(limits::lowest()) ||
            number > static_cast<std::int64_t>(limits::max())) {
            throw_out_of_range(value);
        }
        return static_cast<T>(number);
    }
    if (value.is_number_float()) {
        // Truncation toward zero must land inside T; NaN fails both tests.
        const double number = value.get<double>();
        if (!(number > static_cast<double>(limits::lowest()) - 1.0 &&
              number < static_cast<double>(limits::max()) + 1.0)) {
            throw_out_of_range(value);
        }
        return static_cast<T>(number);
    }
    // Booleans convert as 0/1; anything else throws the library's type error.
    return value.get<T>();
}

}  // namespace

int read_int(const json& value) {
    return read_number<int>(value);
}
std::uint16_t read_u16(const json& value) {
    return read_number<std::uint16_t>(value);
}
std::uint8_t read_u8(const json& value) {
    return read_number<std::uint8_t>(value);
}

float read_float(const json& value) {
    const double number = value.get<double>();
    if (!(std::fabs(number) <= static_cast<double>(FLT_MAX))) throw_out_of_range(value);
    return static_cast<float>(number);
}

const std::string& read_string(const json& value) {
    return value.get_ref<const std::string&>();
}

const json* find_member(const json& object, const char* key) {
    const auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

const std::string* find_string(const json& object, const char* key) {
    const json* member = find_member(object, key);
    return member != nullptr && member->is_string() ? &member->get_ref<const std::string&>()
                                                    : nullptr;
}

int decimal_int(const std::string& text) {
    return std::stoi(text);
}

}  // namespace responses
