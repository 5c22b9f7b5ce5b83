// Where the handler looks for the camera client library.
#pragma once

#include <string>

inline constexpr const char* kClientLibraryFile = "libVesk_OSC.dylib";

// dir + "/" + file, or "./" + file when dir is null or empty. A trailing slash
// in dir is kept as it is (the loader accepts the double slash).
std::string client_library_path(const char* dir);
