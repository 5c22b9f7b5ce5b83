#include "camera_address.h"

#include <arpa/inet.h>

#include <charconv>

namespace oschost {

namespace {

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool is_ipv4(const std::string& text) {
    in_addr address{};
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1;
}

}  // namespace

CameraAddress parse_camera_address(std::string_view text) {
    const std::string_view entry = trimmed(text);
    const auto colon = entry.rfind(':');
    CameraAddress address;
    address.ip = std::string(entry.substr(0, colon));
    if (colon != std::string_view::npos) {
        const std::string_view port = entry.substr(colon + 1);
        int value = 0;
        const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), value);
        if (port.empty() || error != std::errc() || end != port.data() + port.size() || value < 1 ||
            value > 65535)
            throw std::invalid_argument("bad port in camera address " + std::string(entry));
        address.port = value;
    }
    if (address.ip.empty()) throw std::invalid_argument("empty camera address");
    if (!is_ipv4(address.ip)) throw std::invalid_argument(address.ip + " is not an IPv4 address");
    return address;
}

CameraList parse_camera_list(std::string_view text, char separator) {
    CameraList list;
    while (!text.empty()) {
        const auto end = text.find(separator);
        const std::string_view entry = trimmed(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (entry.empty()) continue;
        try {
            list.cameras.push_back(parse_camera_address(entry));
        } catch (const std::invalid_argument& error) {
            list.skipped.emplace_back(std::string(entry), error.what());
        }
    }
    return list;
}

}  // namespace oschost
