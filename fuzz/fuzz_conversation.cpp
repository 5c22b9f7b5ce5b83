// A whole conversation: records of (camera, host operation, answer) through the
// C interface, the camera workers and the real intake, against the double.
//
// Record layout: camera byte (its high bits give the operation's value), operation byte, answer
// length byte, answer. The operation byte's high bit marks the answer as a failure.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "live_handler.h"
#include "stress/host_operations.h"

namespace {
constexpr std::array<const char*, 3> kCameras = {"10.2.0.1", "10.2.0.2", "10.2.0.3"};
constexpr int kPort = 8080;
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::LiveHandler& live = fuzz::LiveHandler::instance();
    std::size_t at = 0;
    while (at + 3 <= size) {
        const char* ip = kCameras[data[at] % kCameras.size()];
        const int value = static_cast<int>(data[at] >> 2) - 16;
        const std::uint8_t operation = data[at + 1];
        const std::size_t length = std::min<std::size_t>(data[at + 2], size - at - 3);
        const std::string answer(reinterpret_cast<const char*>(data + at + 3), length);
        at += 3 + length;

        stress::kHostOperations[(operation & 0x7f) % stress::kHostOperations.size()](ip, kPort,
                                                                                     value);
        HandlerTestAccess::deliver(answer, ip, (operation & 0x80) != 0 ? 1 : 0);
    }
    live.after_input();
    return 0;
}
