#include "responses/function_names.h"

#include <algorithm>
#include <iterator>

namespace responses {
namespace {

struct FunctionName {
    std::string_view camera;
    const char* exported;
};

// Camera-side spellings are the firmware's own ("SetTillShift") and must stay.
constexpr FunctionName kFailureNames[] = {
    {"SetROI", "SetROI"},
    {"Update1220", "Update1220Firmware"},
    {"Update1230_6127", "Update1230Firmware"},
    {"Update1230_7261", "Update1230Firmware"},
    {"Update1230_4932", "Update1230Firmware"},
    {"SetBrightness", "SetBrightness"},
    {"SetContrast", "SetContrast"},
    {"SetSaturation", "SetSaturation"},
    {"SetAWB", "SetAWB"},
    {"SetAutoAWB", "SetAutoAWB"},
    {"SetSharpness", "SetSharpness"},
    {"SetAntiFlicker", "SetAntiFlicker"},
    {"SetFormat", "SetPreviewFormat"},
    {"SetImrxMode", "SetMode"},
    {"GetImrxMode", "GetMode"},
    {"GetFwVer1220_1230", "GetIMRXVersion"},
    {"GetFwVer1220", "GetIMRXVersion"},
    {"SetCameraPlacement", "SetVerticalFlip"},
    {"SetHDR", "SetHDRValue"},
    {"SetWDR", "SetWDRValue"},
    {"SetTillShift", "SetTiltShift"},
    {"SetAuthEnable", "EnableAuth"},
    {"GyroEnable", "EnableGyro"},
    {"DisableGyro", "EnableGyro"},
    {"SetSyslogEnable", "SetSyslogEnable"},
    {"SetServicePorts", "SetCameraPorts"},
    {"TakeSrcScreenShotByIp", "TakeScreenShot"},
};

constexpr FunctionName kAcknowledgedNames[] = {
    {"SetROI", "SetROI"},
    {"Update1220", "Update1220Firmware"},
    {"Update1230_6127", "Update1230Firmware"},
    {"Update1230_7261", "Update1230Firmware"},
    {"Update1230_4932", "Update1230Firmware"},
    {"SetBrightness", "SetBrightness"},
    {"SetContrast", "SetContrast"},
    {"SetSaturation", "SetSaturation"},
    {"SetAWB", "SetAWB"},
    {"SetAutoAWB", "SetAutoAWB"},
    {"SetSharpness", "SetSharpness"},
    {"SetAntiFlicker", "SetAntiFlicker"},
    {"SetFormat", "SetPreviewFormat"},
    {"SetImrxMode", "SetMode"},
    {"SetCameraPlacement", "SetVerticalFlip"},
    {"SetHDR", "SetHDRValue"},
    {"SetWDR", "SetWDRValue"},
    {"SetTillShift", "SetTiltShift"},
    {"SetAuthEnable", "EnableAuth"},
    {"GyroEnable", "EnableGyro"},
    {"DisableGyro", "EnableGyro"},
    {"SetSyslogEnable", "SetSyslogEnable"},
    {"SetServicePorts", "SetCameraPorts"},
};

template <std::size_t N>
const char* exported_name(const FunctionName (&table)[N], std::string_view func) {
    const auto row = std::find_if(std::begin(table), std::end(table),
                                  [func](const FunctionName& r) { return r.camera == func; });
    return row == std::end(table) ? "" : row->exported;
}

}  // namespace

const char* failure_function_name(std::string_view func) {
    return exported_name(kFailureNames, func);
}

const char* acknowledged_function_name(std::string_view func) {
    return exported_name(kAcknowledgedNames, func);
}

}  // namespace responses
