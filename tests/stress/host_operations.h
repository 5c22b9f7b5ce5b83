// The host's operations on one camera, as a table that the stress tests and
// the conversation fuzz target pick from by index.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "IVeskOSCHandlerInst.h"
#include "support/layouts.h"

namespace stress {

using HostOperation = void (*)(const char* ip, int port, int value);

inline video_layout_format sample_layout(int value) {
    video_layout_format layout = source_layout(1920, 1080, {});
    layout.roiNum = static_cast<std::uint8_t>(1 + (value & 3));
    return layout;
}

// SetBrightness, whose order the stress tests check, sits at this index.
inline constexpr std::size_t kSetBrightness = 2;

inline constexpr std::array<HostOperation, 28> kHostOperations = {
    [](const char* ip, int port, int value) { SetMode(ip, port, value); },
    [](const char* ip, int port, int) { GetMode(ip, port); },
    [](const char* ip, int port, int value) { SetBrightness(ip, port, value); },
    [](const char* ip, int port, int value) { SetContrast(ip, port, value); },
    [](const char* ip, int port, int value) { SetSaturation(ip, port, value); },
    [](const char* ip, int port, int value) { SetAWB(ip, port, value); },
    [](const char* ip, int port, int value) { SetAutoAWB(ip, port, value); },
    [](const char* ip, int port, int value) { SetSharpness(ip, port, value); },
    [](const char* ip, int port, int value) { SetAntiFlicker(ip, port, value); },
    [](const char* ip, int port, int value) { SetWDRValue(ip, port, value); },
    [](const char* ip, int port, int value) { SetHDRValue(ip, port, value); },
    [](const char* ip, int port, int value) { SetBitrate(ip, port, value); },
    [](const char* ip, int port, int value) { SetTiltShift(ip, port, value); },
    [](const char* ip, int port, int) { StartStreaming(ip, port); },
    [](const char* ip, int port, int) { GetROI(ip, port); },
    [](const char* ip, int port, int value) { SetROI(ip, port, sample_layout(value)); },
    [](const char* ip, int port, int value) { SetVerticalFlip(ip, port, (value & 1) != 0); },
    [](const char* ip, int port, int value) { SetPreviewFormat(ip, port, 1920, 960 + value); },
    [](const char* ip, int port, int) { GetUpdateProgress(ip, port); },
    [](const char* ip, int port, int) { SaveParam(ip, port); },
    [](const char* ip, int port, int) { GetIMRXVersion(ip, port); },
    [](const char* ip, int port, int) { GetCameraHealthAndUsage(ip, port); },
    [](const char* ip, int port, int) { GetGyroAndAccel(ip, port); },
    [](const char* ip, int port, int) { TakeScreenShot(ip, port); },
    [](const char* ip, int port, int value) { EnableGyro(ip, port, (value & 1) != 0); },
    [](const char* ip, int port, int value) { GetCameraSettings(ip, port, (value & 1) != 0); },
    [](const char* ip, int port, int value) {
        SetSyslogEnable(ip, port, "127.0.0.1", 514, value & 1);
    },
    [](const char* ip, int, int) { GetCameraParams(ip); },
};

}  // namespace stress
