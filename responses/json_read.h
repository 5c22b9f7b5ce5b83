// Checked reads of camera JSON into the record's fixed-width fields. Wrong
// types and numbers that do not fit throw instead of being truncated or
// wrapped, so a malformed answer stops the parse rather than corrupting state.
#pragma once

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

namespace responses {

using nlohmann::json;

int read_int(const json& value);
std::uint16_t read_u16(const json& value);
std::uint8_t read_u8(const json& value);
float read_float(const json& value);

// The value's own text, without a copy; throws when it is not a string.
const std::string& read_string(const json& value);

// The member, or nullptr when absent or when object is not an object.
const json* find_member(const json& object, const char* key);

// The member's text when it is present and a string, else nullptr.
const std::string* find_string(const json& object, const char* key);

// Leading decimal number of text, as the camera's command outputs carry it
// ("60)" reads as 60); throws when text does not start with one.
int decimal_int(const std::string& text);

}  // namespace responses
