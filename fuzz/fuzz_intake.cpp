// Bytes as one camera's answer through the live intake. The first byte picks
// success or failure (so both the parsers and the failure reports are reached)
// and which of a few cameras answers; the rest is the answer text.
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "live_handler.h"

namespace {
constexpr std::array<const char*, 4> kCameras = {"10.1.0.1", "10.1.0.2", "10.1.0.3", "10.1.0.4"};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::LiveHandler& live = fuzz::LiveHandler::instance();
    if (size == 0) return 0;
    const std::uint8_t control = data[0];
    const int status = (control & 1) != 0 ? 1 : 0;
    const char* ip = kCameras[(control >> 1) % kCameras.size()];
    const std::string answer(reinterpret_cast<const char*>(data + 1), size - 1);
    HandlerTestAccess::deliver(answer, ip, status);
    live.after_input();
    return 0;
}
