#include "tools/oscctl/client_location.h"

#include <filesystem>
#include <system_error>

namespace oscctl {

namespace fs = std::filesystem;

namespace {

constexpr const char* kClientFile = "libVesk_OSC.dylib";

fs::path executable_dir(const char* argv0) {
    std::error_code error;
    fs::path self = fs::read_symlink("/proc/self/exe", error);  // Linux
    if (error) self = fs::absolute(argv0, error);
    return self.parent_path();
}

}  // namespace

std::string default_client_dir(const char* argv0) {
    const fs::path installed = executable_dir(argv0).parent_path() / OSCCTL_INSTALL_LIBDIR;
    std::error_code error;
    if (fs::exists(installed / kClientFile, error)) return installed.string();
    return OSCCTL_BUILD_CLIENT_DIR;
}

bool has_client_library(const std::string& dir) {
    std::error_code error;
    return fs::exists(fs::path(dir) / kClientFile, error);
}

}  // namespace oscctl
