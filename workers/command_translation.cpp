#include "workers/command_translation.h"

#include <cstdio>
#include <string>
#include <unordered_map>

namespace {

using Sender = void (*)(const SendContext&);

struct Translation {
    Sender send;
    PauseAfter pause;
};

template <class Fn>
auto read(const SendContext& c, Fn&& fn) {
    return c.camera.read(std::forward<Fn>(fn));
}

// (ip, port)
template <int (IVeskOSC_Tendra::*Op)(const char*, int)>
void send_plain(const SendContext& c) {
    (c.client.*Op)(c.ip, c.port);
}

// (ip, value, port) with the value from one record field.
template <class Field, Field CAM_PARAM::*Member, class Arg,
          int (IVeskOSC_Tendra::*Op)(const char*, Arg, int)>
void send_field(const SendContext& c) {
    const Arg value = read(c, [](const CAM_PARAM& r) { return static_cast<Arg>(r.*Member); });
    (c.client.*Op)(c.ip, value, c.port);
}

template <int CAM_PARAM::*Member, int (IVeskOSC_Tendra::*Op)(const char*, int, int)>
constexpr Sender int_field = &send_field<int, Member, int, Op>;

template <bool CAM_PARAM::*Member, int (IVeskOSC_Tendra::*Op)(const char*, bool, int)>
constexpr Sender bool_field = &send_field<bool, Member, bool, Op>;

template <std::string CAM_PARAM::*Member, int (IVeskOSC_Tendra::*Op)(const char*, const char*, int)>
void send_text(const SendContext& c) {
    const std::string text = read(c, [](const CAM_PARAM& r) { return r.*Member; });
    (c.client.*Op)(c.ip, text.c_str(), c.port);
}

// 5760-wide or -high previews only run at 15 frames a second.
void send_stream_param(const SendContext& c) {
    const Resolution size = read(c, [](const CAM_PARAM& r) { return r.current_resolution; });
    const int framerate = (size.width == 5760 || size.height == 5760) ? 15 : 30;
    c.client.SetStreamParam(c.ip, size.width, size.height, 0, framerate, c.port);
}

void send_main_stream_format(const SendContext& c) {
    struct Format {
        Resolution size;
        int framerate, bitrate, gop;
    };
    const Format f = read(c, [](const CAM_PARAM& r) {
        return Format{r.current_resolution, r.framerate, r.bitrate, r.gop};
    });
    c.client.SetMainStreamFormat(c.ip, f.size.width, f.size.height, 0, f.framerate, f.framerate,
                                 f.bitrate, f.gop, c.port);
}

void send_roi(const SendContext& c) {
    const video_layout_format layout = read(c, [](const CAM_PARAM& r) { return r.roi_layout; });
    c.client.SetROI(c.ip, c.port, layout);
}

struct Files1230 {
    std::string model, file1, file2, file3;
};

Files1230 read_1230_files(const SendContext& c) {
    return read(c, [](const CAM_PARAM& r) {
        return Files1230{r.model, r.fw_1230_path_1, r.fw_1230_path_2, r.fw_1230_path_3};
    });
}

// The update script differs per camera module; an unknown module gets nothing.
void send_update_1230(const SendContext& c) {
    using Update =
        int (IVeskOSC_Tendra::*)(const char*, const char*, const char*, const char*, int);
    struct Module {
        const char* model;
        Update update;
    };
    static constexpr Module kModules[] = {
        {"Q07261", &IVeskOSC_Tendra::Update1230_7261},
        {"Q06127", &IVeskOSC_Tendra::Update1230_6127},
        {"Q04932", &IVeskOSC_Tendra::Update1230_4932},
    };
    const Files1230 f = read_1230_files(c);
    for (const Module& module : kModules) {
        if (f.model != module.model) continue;
        (c.client.*module.update)(c.ip, f.file1.c_str(), f.file2.c_str(), f.file3.c_str(), c.port);
        std::printf("%s %s %s, %s, %s\n", c.ip, module.model, f.file1.c_str(), f.file2.c_str(),
                    f.file3.c_str());
        std::fflush(stdout);
        return;
    }
}

void send_update_all(const SendContext& c) {
    struct Files {
        std::string file1220, file1, file2, file3;
    };
    const Files f = c.camera.update([](CAM_PARAM& r) {
        r.update_progress = 0;
        return Files{r.fw_1220_path, r.fw_1230_path_1, r.fw_1230_path_2, r.fw_1230_path_3};
    });
    c.client.UpdateFWAll(c.ip, f.file1220.c_str(), f.file1.c_str(), f.file2.c_str(),
                         f.file3.c_str(), c.port);
}

void send_static_ip(const SendContext& c) {
    struct Address {
        std::string address, gateway, mask;
    };
    const Address a = read(c, [](const CAM_PARAM& r) {
        return Address{r.static_ip, r.gateway, r.mask};
    });
    c.client.SetStaticIp(c.ip, a.address.c_str(), a.gateway.c_str(), a.mask.c_str(), c.port);
}

void send_syslog(const SendContext& c) {
    struct Syslog {
        std::string server;
        int port;
        bool enable;
    };
    const Syslog s = read(c, [](const CAM_PARAM& r) {
        return Syslog{r.log_server_ip, r.log_server_port, r.enable_log_server};
    });
    c.client.SetSyslogEnable(c.ip, s.server.c_str(), s.port, static_cast<short>(s.enable), c.port);
}

void send_camera_ports(const SendContext& c) {
    struct Ports {
        int http, https, rtsp;
    };
    const Ports p = read(c, [](const CAM_PARAM& r) {
        return Ports{r.http_port, r.https_port, r.rtsp_port};
    });
    c.client.SetCameraPorts(c.ip, p.http, p.https, p.rtsp, c.port);
}

using T = IVeskOSC_Tendra;
using C = CAM_PARAM;

// Never destroyed: a host may exit without Destroy while workers still send.
const std::unordered_map<std::string_view, Translation>& translations() {
    static const auto* const table = new std::unordered_map<std::string_view, Translation>{
        {"SetBrightness", {int_field<&C::brightness_current, &T::SetBrightness>, PauseAfter::None}},
        {"SetContrast", {int_field<&C::contrast_current, &T::SetContrast>, PauseAfter::None}},
        {"SetSaturation", {int_field<&C::saturation_current, &T::SetSaturation>, PauseAfter::None}},
        {"SetAWB", {int_field<&C::awb_current, &T::SetAWB>, PauseAfter::None}},
        {"SetAutoAWB", {int_field<&C::autoawb_current, &T::SetAutoAWB>, PauseAfter::None}},
        {"SetSharpness", {int_field<&C::sharpness_current, &T::SetSharpness>, PauseAfter::None}},
        {"SetAntiFlicker",
         {int_field<&C::antiflicker_current, &T::SetAntiFlicker>, PauseAfter::None}},
        {"SetWDRValue", {int_field<&C::wdr_value, &T::SetWDRValue>, PauseAfter::None}},
        {"SetHDRValue", {int_field<&C::hdr_value, &T::SetHDRValue>, PauseAfter::None}},
        {"StopStreaming", {send_plain<&T::StopStreaming>, PauseAfter::None}},
        {"StartStreaming", {send_plain<&T::StartStreaming>, PauseAfter::None}},
        {"SetCameraPlacement",
         {bool_field<&C::vertical_flipped, &T::SetCameraPlacement>, PauseAfter::None}},
        {"SetBitrate", {int_field<&C::bitrate, &T::SetBitrate>, PauseAfter::None}},
        {"SetStreamParam", {send_stream_param, PauseAfter::None}},
        {"SetMainStreamFormat", {send_main_stream_format, PauseAfter::None}},
        {"SetImrxMode", {int_field<&C::mode, &T::SetImrxMode>, PauseAfter::None}},
        {"SetROI", {send_roi, PauseAfter::None}},
        {"SetROI_Json", {send_text<&C::roi_json, &T::SetROI_Json>, PauseAfter::None}},
        {"Update1220", {send_text<&C::fw_1220_path, &T::Update1220>, PauseAfter::None}},
        {"Update1230", {send_update_1230, PauseAfter::None}},
        {"SetStaticIp", {send_static_ip, PauseAfter::None}},
        {"SetDhcp", {send_plain<&T::SetDhcp>, PauseAfter::None}},
        {"AstParamRwSave", {send_plain<&T::AstParamRwSave>, PauseAfter::None}},
        {"GetUpdateProgress", {send_plain<&T::GetUpdateProgress>, PauseAfter::None}},
        {"Reboot", {send_plain<&T::Reboot>, PauseAfter::Reboot}},
        {"GetOptionsAll", {send_plain<&T::GetOptionsAll>, PauseAfter::None}},
        {"GetROI", {send_plain<&T::GetROI>, PauseAfter::None}},
        {"GetImrxMode", {send_plain<&T::GetImrxMode>, PauseAfter::None}},
        {"GetCameraPlacement", {send_plain<&T::GetCameraPlacement>, PauseAfter::None}},
        {"GetInfo", {send_plain<&T::GetInfo>, PauseAfter::None}},
        {"GetHdr", {send_plain<&T::GetHdr>, PauseAfter::None}},
        {"GetWdr", {send_plain<&T::GetWdr>, PauseAfter::None}},
        {"GetFwVer1220ByIp", {send_plain<&T::GetFwVer1220ByIp>, PauseAfter::None}},
        {"GetFwVer1220_1230", {send_plain<&T::GetFwVer1220_1230>, PauseAfter::None}},
        // Two queued names for the same request.
        {"GyroEnable", {send_plain<&T::EnableGyro>, PauseAfter::None}},
        {"GetProcessList", {send_plain<&T::GetProcessList>, PauseAfter::None}},
        {"GetAst1230UsbList", {send_plain<&T::GetAst1230UsbList>, PauseAfter::None}},
        {"GetCpuUsage", {send_plain<&T::GetCpuUsage>, PauseAfter::None}},
        {"GetMemoryUsage", {send_plain<&T::GetMemoryUsage>, PauseAfter::None}},
        {"GetQPpreview", {send_plain<&T::GetQPpreview>, PauseAfter::None}},
        {"GetCameraState", {send_plain<&T::GetCameraState>, PauseAfter::None}},
        {"SetSyslogEnable", {send_syslog, PauseAfter::Syslog}},
        {"GetNetSetting", {send_plain<&T::GetNetSetting>, PauseAfter::None}},
        {"GetSyslogEnable", {send_plain<&T::GetSyslogEnable>, PauseAfter::None}},
        {"EnableGyro", {send_plain<&T::EnableGyro>, PauseAfter::None}},
        {"DisableGyro", {send_plain<&T::DisableGyro>, PauseAfter::None}},
        {"GetGyroAndAccel", {send_plain<&T::GetGyroAndAccel>, PauseAfter::None}},
        {"GetCameraName", {send_plain<&T::GetCameraName>, PauseAfter::None}},
        {"GetAuthEnable", {send_plain<&T::GetAuthEnable>, PauseAfter::None}},
        {"SetAuthEnable", {bool_field<&C::auth_enabled, &T::SetAuthEnable>, PauseAfter::None}},
        {"GetServicePorts", {send_plain<&T::GetServicePorts>, PauseAfter::None}},
        {"SendCmdLine", {send_text<&C::cmdline, &T::SendCmdLine>, PauseAfter::None}},
        {"UpdateFWAll", {send_update_all, PauseAfter::None}},
        {"SetTiltShift", {int_field<&C::tilt_shift, &T::SetTiltShift>, PauseAfter::None}},
        {"SetCameraPorts", {send_camera_ports, PauseAfter::Ports}},
        {"TakeScreenShot", {send_plain<&T::TakeScreenShot>, PauseAfter::None}},
        {"GetCaptureStatus", {send_plain<&T::GetCaptureStatus>, PauseAfter::None}},
    };
    return *table;
}

}  // namespace

PauseAfter send_queued_command(std::string_view name, const SendContext& context) {
    const auto& table = translations();
    const auto found = table.find(name);
    if (found == table.end()) return PauseAfter::None;
    found->second.send(context);
    return found->second.pause;
}
