#include "client/request_catalog.h"

#include <algorithm>
#include <map>

namespace oscclient {

using nlohmann::json;

namespace {

Request get_options(const std::string& func, json names) {
    Request r;
    r.body = {{"name", "camera.getOptions"}, {"parameters", {{"optionNames", std::move(names)}}}};
    r.name = "camera.getOptions";
    r.func = func;
    return r;
}

Request execute(const std::string& name, const std::string& func, json parameters, Shape shape,
                const std::string& failure_name = "") {
    Request r;
    r.body = {{"name", name}};
    if (!parameters.is_null()) r.body["parameters"] = std::move(parameters);
    r.name = failure_name.empty() ? name : failure_name;
    r.func = func;
    r.shape = shape;
    return r;
}

json all_option_names() {
    return {"_brightnessSupport",
            "_brightness",
            "_contrastSupport",
            "_contrast",
            "_saturationSupport",
            "_saturation",
            "_sharpnessSupport",
            "_sharpness",
            "_antiflickerSupport",
            "_antiflicker",
            "_awbSupport",
            "_awb",
            "_autoAwbSupport",
            "_autoAwb",
            "_roi",
            "_imrxMode",
            "_wdr",
            "hdr",
            "_tiltShift",
            "_cameraPlacement",
            "_servicePort",
            "_imrxVersion",
            "_fileFormatPreviewSupport",
            "_fileFormatPreview",
            "_cameraName"};
}

std::map<std::string, Request> make_fixed() {
    std::map<std::string, Request> t;
    t["GetOptionsAll"] = get_options("GetOptionsAll", all_option_names());
    t["GetROI"] = get_options("GetROI", {"_roi"});
    t["GetImrxMode"] = get_options("GetImrxMode", {"_imrxMode"});
    t["GetCameraPlacement"] = get_options("GetCameraPlacement", {"_cameraPlacement"});
    t["GetHdr"] = get_options("GetHdr", {"hdr"});
    t["GetWdr"] = get_options("GetWdr", {"_wdr"});
    t["GetServicePorts"] = get_options("GetServicePorts", {"_servicePort"});
    t["GetCameraName"] = get_options("GetCameraName", {"_cameraName"});
    t["GetUpdateProgress"] = get_options("GetUpdateProgress", {"_updateStatus"});

    t["GetNetSetting"] = command_line("GetEthernetSettings");
    t["GetSyslogEnable"] = command_line("GetSyslogSettings");
    t["GetAuthEnable"] = command_line("GetAuthEnable");
    t["GetQPpreview"] = command_line("GetQpPreview");
    t["GetFwVer1220ByIp"] = command_line("GetFwVer1220");
    t["GetProcessList"] = command_line("GetProcessList");
    t["GetAst1230UsbList"] = command_line("GetAst1230UsbList");
    t["GetCpuUsage"] = command_line("GetCpuUsage");
    t["GetMemoryUsage"] = command_line("GetMemoryUsage");
    t["GetGyroAndAccel"] = command_line("GetGyroAndAccel");
    t["AstParamRwSave"] = command_line("AstParamRwSave");
    Request versions = command_line("GetFwVer1220_1230");
    versions.shape = Shape::ModuleVersions;
    t["GetFwVer1220_1230"] = versions;

    t["SetDhcp"] = set_options("SetDhcp", {{"_network", {{"mode", "dhcp"}}}});
    t["EnableGyro"] = set_options("GyroEnable", {{"_gyro", true}});
    t["DisableGyro"] = set_options("DisableGyro", {{"_gyro", false}});

    t["StartStreaming"] =
        execute("camera._getLivePreview", "StartStreaming", {{"action", "start"}}, Shape::AsSent);
    t["StopStreaming"] =
        execute("camera._stopLivePreview", "StopStreaming", nullptr, Shape::AsSent);
    t["TakeScreenShot"] = execute("camera.startCapture", "TakeSrcScreenShotByIp",
                                  {{"_mode", "screenshot"}}, Shape::CaptureStarted);
    t["Reboot"] = execute("camera._reboot", "Reboot", nullptr, Shape::NamedReboot, "reboot");

    Request info;
    info.get = true;
    info.path = "/osc/info";
    info.name = "camera.info";
    info.func = "GetInfo";
    t["GetInfo"] = info;

    Request state;
    state.path = "/osc/state";
    state.body = json::object();
    state.name = "state";
    state.func = "GetCameraState";
    state.shape = Shape::NamedState;
    t["GetCameraState"] = state;

    // The body ({"id": ...}) is filled in when the request runs, with the id
    // of the camera's latest capture.
    Request status;
    status.path = "/osc/commands/status";
    status.name = "camera.startCapture";
    status.func = "GetCaptureStatus";
    status.shape = Shape::CaptureStatus;
    t["GetCaptureStatus"] = status;
    return t;
}

struct ValueOption {
    const char* option;
    const char* func;
    bool as_flag;  // sent as 0/1 rather than the int itself
};

const std::map<std::string, ValueOption>& value_options() {
    static const std::map<std::string, ValueOption> table = {
        {"SetBrightness", {"_brightness", "SetBrightness", false}},
        {"SetContrast", {"_contrast", "SetContrast", false}},
        {"SetSaturation", {"_saturation", "SetSaturation", false}},
        {"SetAWB", {"_awb", "SetAWB", false}},
        {"SetAutoAWB", {"_autoAwb", "SetAutoAWB", false}},
        {"SetSharpness", {"_sharpness", "SetSharpness", false}},
        {"SetAntiFlicker", {"_antiflicker", "SetAntiFlicker", false}},
        {"SetBitrate", {"_bitrate", "SetBitrate", false}},
        {"SetImrxMode", {"_imrxMode", "SetImrxMode", false}},
        {"SetCameraPlacement", {"_cameraPlacement", "SetCameraPlacement", true}},
        {"SetHDRValue", {"hdr", "SetHDR", false}},
        {"SetWDRValue", {"_wdr", "SetWDR", false}},
        {"SetTiltShift", {"_tiltShift", "SetTillShift", false}},
        {"SetAuthEnable", {"_authEnable", "SetAuthEnable", false}},
    };
    return table;
}

}  // namespace

Request set_options(const std::string& func, json options) {
    Request r;
    r.body = {{"name", "camera.setOptions"}, {"parameters", {{"options", std::move(options)}}}};
    r.name = "camera.setOptions";
    r.func = func;
    r.shape = Shape::WithFunc;
    return r;
}

Request command_line(const std::string& func, json extra) {
    json parameters = std::move(extra);
    parameters["func"] = func;
    return execute("camera._cmdLine", func, std::move(parameters), Shape::AsSent);
}

const Request* fixed_request(const std::string& operation) {
    static const std::map<std::string, Request> table = make_fixed();
    const auto it = table.find(operation);
    return it == table.end() ? nullptr : &it->second;
}

std::optional<Request> value_request(const std::string& operation, const json& value) {
    const auto it = value_options().find(operation);
    if (it == value_options().end()) return std::nullopt;
    json v = value;
    if (it->second.as_flag && value.is_boolean()) v = value.get<bool>() ? 1 : 0;
    return set_options(it->second.func, {{it->second.option, v}});
}

json layout_to_json(const video_layout_format& layout) {
    json params = json::array();
    const int count = std::min<int>(layout.roiNum, VIDEO_LAYOUT_MAX_ROI);
    for (int i = 0; i < count; ++i) {
        const video_roi_param& p = layout.roiParam[i];
        params.push_back({{"srcX", int{p.srcX}},
                          {"srcY", int{p.srcY}},
                          {"srcW", int{p.srcW}},
                          {"srcH", int{p.srcH}},
                          {"dstX", int{p.dstX}},
                          {"dstY", int{p.dstY}},
                          {"dstW", int{p.dstW}},
                          {"dstH", int{p.dstH}},
                          {"projection", int{p.projection}}});
    }
    return {{"srcWidth", int{layout.srcWidth}},
            {"srcHeight", int{layout.srcHeight}},
            {"dstWidth", int{layout.dstWidth}},
            {"dstHeight", int{layout.dstHeight}},
            {"roiNum", count},
            {"roiParam", params}};
}

}  // namespace oscclient
