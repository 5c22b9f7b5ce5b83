// The AST1220 module's version text encodes its hardware generation, which
// decides how the camera's versions and encoder settings are queried.
#pragma once

#include <string>

namespace responses {

// The two digits at positions 4 and 5 of the version; throws when the text
// is shorter or they are not a number.
int version_digits(const std::string& ast1220_ver);

// 12 for "IMRX_" builds, else version_digits.
int generation_number(const std::string& ast1220_ver);

}  // namespace responses
