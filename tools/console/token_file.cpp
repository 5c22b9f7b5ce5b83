#include "tools/console/token_file.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <stdexcept>

namespace osconsole {

namespace {

bool token_character(unsigned char c) {
    return std::isalnum(c) || c == '.' || c == '_' || c == '~' || c == '-';
}

}  // namespace

std::string read_token_file(const std::string& path) {
    std::ifstream file(path);
    std::string token;
    if (!file || !std::getline(file, token)) throw std::runtime_error("cannot read " + path);
    const auto blank = [](unsigned char c) { return std::isspace(c) != 0; };
    token.erase(token.begin(), std::find_if_not(token.begin(), token.end(), blank));
    token.erase(std::find_if_not(token.rbegin(), token.rend(), blank).base(), token.end());
    if (token.size() < kMinTokenLength || !std::all_of(token.begin(), token.end(), token_character))
        throw std::runtime_error("the token in " + path + " must be " +
                                 std::to_string(kMinTokenLength) +
                                 " or more characters of A-Z a-z 0-9 . _ ~ -");
    return token;
}

}  // namespace osconsole
