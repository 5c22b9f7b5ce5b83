// Where oscctl looks for the camera client library (libVesk_OSC.dylib).
#pragma once

#include <string>

namespace oscctl {

// The installed layout first (<prefix>/bin/oscctl beside <prefix>/lib), then
// the build tree oscctl was built in.
std::string default_client_dir(const char* argv0);

// Whether `dir` holds the client library; without it every call would be a
// silent no-op.
bool has_client_library(const std::string& dir);

}  // namespace oscctl
