// The exported C functions: each forwards to the handler's method of the same
// name. No exception unwinds into the host; a failure becomes one log line.
#include <exception>
#include <string>

#include "IVeskOSCHandlerInst.h"
#include "facade/oscapi_handler.h"

OSCAPIHANDLER* m_inst = nullptr;
std::atomic<int32_t> current_operating_idx{0};

namespace {
void log_failure(const char* function, const char* what) noexcept {
    try {
        if (m_inst != nullptr) m_inst->_put_log(std::string(function) + " failed: " + what);
    } catch (...) {
    }
}

template <class Fn>
auto forward(const char* function, Fn&& fn) noexcept -> decltype(fn(*m_inst)) {
    using Result = decltype(fn(*m_inst));
    if (m_inst == nullptr) return Result();
    try {
        return fn(*m_inst);
    } catch (const std::exception& e) {
        log_failure(function, e.what());
    } catch (...) {
        log_failure(function, "unknown exception");
    }
    return Result();
}
}  // namespace

extern "C" {

OSCAPIHANDLER* Init(const char* libDir) {
    try {
        m_inst = new OSCAPIHANDLER(libDir);
    } catch (...) {
        m_inst = nullptr;
    }
    return m_inst;
}

void Destroy(void) {
    OSCAPIHANDLER* handler = m_inst;
    m_inst = nullptr;  // a second Destroy is then harmless
    delete handler;
}

void SetDataCallback(DeviceListCallback device_list, CameraParamCallback camera_param,
                     CommandResultCallback command_result, HealthUsageCallback health_usage) {
    forward(__func__, [&](OSCAPIHANDLER& h) {
        h.SetDataCallback(device_list, camera_param, command_result, health_usage);
    });
}

void SetFWUpdateCallback(FWUpdateResultCallback result, FWUpdateProgressCallback progress) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.SetFWUpdateCallback(result, progress); });
}

void SetRebootStateCallback(RebootStateCallback reboot_state) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.SetRebootStateCallback(reboot_state); });
}

void SetLogCallback(LogCallback log) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.SetLogCallback(log); });
}

void ScanSupportDevices(void) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.ScanSupportDevices(); });
}

bool RemoveCachedDevice(const char* ip) {
    return forward(__func__, [&](OSCAPIHANDLER& h) { return h.RemoveCachedDevice(ip); });
}

#define OSC_FORWARD_VALUE(Name)                                             \
    void Name(const char* ip, int port, int value) {                        \
        forward(#Name, [&](OSCAPIHANDLER& h) { h.Name(ip, port, value); }); \
    }
#define OSC_FORWARD_PLAIN(Name)                                      \
    void Name(const char* ip, int port) {                            \
        forward(#Name, [&](OSCAPIHANDLER& h) { h.Name(ip, port); }); \
    }

OSC_FORWARD_VALUE(SetMode)
OSC_FORWARD_PLAIN(GetMode)
OSC_FORWARD_VALUE(SetBrightness)
OSC_FORWARD_VALUE(SetContrast)
OSC_FORWARD_VALUE(SetSaturation)
OSC_FORWARD_VALUE(SetAWB)
OSC_FORWARD_VALUE(SetAutoAWB)
OSC_FORWARD_VALUE(SetSharpness)
OSC_FORWARD_VALUE(SetAntiFlicker)
OSC_FORWARD_VALUE(SetWDRValue)
OSC_FORWARD_VALUE(SetHDRValue)
OSC_FORWARD_VALUE(SetBitrate)
OSC_FORWARD_VALUE(SetTiltShift)
OSC_FORWARD_PLAIN(StartStreaming)
OSC_FORWARD_PLAIN(GetROI)
OSC_FORWARD_PLAIN(GetUpdateProgress)
OSC_FORWARD_PLAIN(SetDHCP)
OSC_FORWARD_PLAIN(SaveParam)
OSC_FORWARD_PLAIN(RebootCamera)
OSC_FORWARD_PLAIN(GetCameraHealthAndUsage)
OSC_FORWARD_PLAIN(GetCameraHealthAndUsage_stored)
OSC_FORWARD_PLAIN(GetGyroAndAccel)
OSC_FORWARD_PLAIN(TakeScreenShot)

#undef OSC_FORWARD_VALUE
#undef OSC_FORWARD_PLAIN

void GetIMRXVersion(const char* ip, int port) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.GetVersion(ip, port); });
}

void SetROI(const char* ip, int port, video_layout_format layout) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.SetROI(ip, port, layout); });
}

void SetROI_Json(const char* ip, int port, const char* json) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.SetROI_Json(ip, port, json); });
}

void SetVerticalFlip(const char* ip, int port, bool flip) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.SetVerticalFlip(ip, port, flip); });
}

void SetPreviewFormat(const char* ip, int port, int width, int height) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.SetPreviewFormat(ip, port, width, height); });
}

void SetPreviewFormat2(const char* ip, int port, int width, int height, const char* encode_type,
                       int framerate, int bitrate, int gop) {
    forward(__func__, [&](OSCAPIHANDLER& h) {
        h.SetPreviewFormat2(ip, port, width, height, encode_type, framerate, bitrate, gop);
    });
}

void Update1220Firmware(const char* ip, int port, const char* file) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.Update1220Firmware(ip, port, file); });
}

void Update1230Firmware(const char* ip, int port, const char* file1, const char* file2,
                        const char* file3) {
    forward(__func__,
            [&](OSCAPIHANDLER& h) { h.Update1230Firmware(ip, port, file1, file2, file3); });
}

void UpdateFirmwareAll(const char* ip, int port, const char* file1_1230, const char* file2_1230,
                       const char* file3_1230, const char* file_1220) {
    forward(__func__, [&](OSCAPIHANDLER& h) {
        h.UpdateFirmwareAll(ip, port, file1_1230, file2_1230, file3_1230, file_1220);
    });
}

void SetStaticIP(const char* ip, int port, const char* static_ip, const char* gateway,
                 const char* mask) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.SetStaticIP(ip, port, static_ip, gateway, mask); });
}

void SetSyslogEnable(const char* ip, int port, const char* server, int server_port, int enable) {
    forward(__func__,
            [&](OSCAPIHANDLER& h) { h.SetSyslogEnable(ip, port, server, server_port, enable); });
}

void EnableGyro(const char* ip, int port, bool enable) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.EnableGyro(ip, port, enable); });
}

void EnableAuth(const char* ip, int port, bool enable) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.EnableAuth(ip, port, enable); });
}

void SetCameraPorts(const char* ip, int port, int http_port, int https_port, int rtsp_port) {
    forward(__func__, [&](OSCAPIHANDLER& h) {
        h.SetCameraPorts(ip, port, http_port, https_port, rtsp_port);
    });
}

void GetCameraSettings(const char* ip, int port, bool force) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.GetCameraSettings(ip, port, force); });
}

void GetCameraParams(const char* ip) {
    forward(__func__, [&](OSCAPIHANDLER& h) { h.GetCameraParams(ip); });
}

}  // extern "C"
