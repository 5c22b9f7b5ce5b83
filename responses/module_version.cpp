#include "responses/module_version.h"

#include <stdexcept>

#include "responses/json_read.h"

namespace responses {
namespace {

constexpr std::string::size_type kDigitsAt = 4;
constexpr std::string::size_type kDigitCount = 2;
constexpr int kImrxGeneration = 12;

}  // namespace

int version_digits(const std::string& ast1220_ver) {
    if (ast1220_ver.size() < kDigitsAt + kDigitCount) {
        throw std::out_of_range("module version too short: " + ast1220_ver);
    }
    return decimal_int(ast1220_ver.substr(kDigitsAt, kDigitCount));
}

int generation_number(const std::string& ast1220_ver) {
    return ast1220_ver.find("IMRX_") != std::string::npos ? kImrxGeneration
                                                          : version_digits(ast1220_ver);
}

}  // namespace responses
