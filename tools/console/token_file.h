// Tokens kept in files (--operator-token-file, --viewer-token-file), so that
// they survive restarts and reach Prometheus's credentials_file.
#pragma once

#include <string>

namespace osconsole {

// The token in `path`: its first line, without surrounding white space. It
// must be at least kMinTokenLength characters of A-Z a-z 0-9 . _ ~ -, which
// travel unchanged in a header, a cookie and an address; throws
// std::runtime_error saying what is wrong otherwise.
std::string read_token_file(const std::string& path);

constexpr std::size_t kMinTokenLength = 16;

}  // namespace osconsole
