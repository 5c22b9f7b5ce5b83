// Text arguments from the host: a null pointer is stored as an empty text
// instead of crashing the host.
#pragma once

#include <string>

inline std::string text_argument(const char* text) {
    return text != nullptr ? text : "";
}
