// Discovery results through the live handler: the input split at newlines is
// one batch of entries ("name,ip,port" when well formed).
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "live_handler.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::LiveHandler& live = fuzz::LiveHandler::instance();
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> entries;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = text.find('\n', start);
        entries.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        if (end == std::string::npos) break;
        start = end + 1;
    }
    std::vector<const char*> pointers;
    for (const std::string& entry : entries) pointers.push_back(entry.c_str());
    HandlerTestAccess::handler()._on_receive_mdns_result(pointers.data(),
                                                         static_cast<int>(pointers.size()));
    // Cameras found here take worker slots; forget them again so that the next
    // inputs find free slots too.
    for (const std::string& entry : entries) {
        const auto comma = entry.rfind(',');
        if (comma == std::string::npos) continue;
        const std::string head = entry.substr(0, comma);
        const auto ip_comma = head.rfind(',');
        RemoveCachedDevice(
            (ip_comma == std::string::npos ? head : head.substr(ip_comma + 1)).c_str());
    }
    live.after_input();
    return 0;
}
