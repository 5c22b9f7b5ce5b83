#include "client/osc_client.h"

#include "client/answer_shapes.h"
#include "client/exchange.h"
#include "client/firmware_job.h"
#include "client/request_catalog.h"
#include "host/camera_address.h"

namespace oscclient {

using nlohmann::json;

namespace {

std::string text_of(const char* s) {
    return s ? s : "";
}

}  // namespace

OscClient::OscClient(ClientOptions options) : options_(std::move(options)), dispatcher_(options_) {}

OscClient::~OscClient() {
    browser_.stop();
    dispatcher_.shutdown();
}

void OscClient::deliver(const std::string& text, const std::string& ip, int status) const {
    if (const OscResponseCallback callback = osc_callback_.load()) {
        try {
            callback(text.c_str(), ip.c_str(), status);
        } catch (...) {
            // A host callback that throws must not take the camera's queue
            // down with it.
        }
    }
}

Deliver OscClient::deliverer() const {
    return [this](const std::string& text, const std::string& ip, int status) {
        deliver(text, ip, status);
    };
}

void OscClient::report_camera(const std::string& entry) const {
    if (const MdnsResultCallback callback = mdns_callback_.load()) {
        const char* entries[] = {entry.c_str()};
        callback(entries, 1);
    }
}

int OscClient::queue(const char* ip, int port, Request request) {
    if (!ip) return -1;
    dispatcher_.submit(ip, request_job(port, std::move(request), options_, deliverer()));
    return 0;
}

int OscClient::queue_fixed(const char* ip, int port, const char* operation) {
    return queue(ip, port, *fixed_request(operation));
}

int OscClient::queue_value(const char* ip, int port, const char* operation, json value) {
    return queue(ip, port, *value_request(operation, value));
}

int OscClient::queue_failure(const char* ip, std::string text) {
    if (!ip) return -1;
    dispatcher_.submit(ip,
                       [this, text = std::move(text)](CameraLink& link, TransferLoop&,
                                                      const CameraDispatcher::Finished& finished) {
                           deliver(text, link.ip, 1);
                           finished();
                       });
    return 0;
}

void OscClient::probe_static_cameras() {
    // The host layer's parser: a camera listed without a port is at 8080.
    for (const auto& [ip, port] : oschost::parse_camera_list(options_.static_cameras).cameras) {
        dispatcher_.submit(ip, [this, port = port](CameraLink& link, TransferLoop& loop,
                                                   const CameraDispatcher::Finished& finished) {
            HttpCall call;
            call.url = base_url(link.ip, port) + "/osc/info";
            call.limits = {options_.connect_timeout, options_.request_timeout, 0,
                           std::chrono::seconds(0)};
            send_to_camera(link, loop, std::move(call),
                           [this, &link, port, finished](HttpResult r) {
                               report_info(link.ip, port, r);
                               finished();
                           });
        });
    }
}

void OscClient::report_info(const std::string& ip, int port, const HttpResult& r) const {
    if (!r.transport_ok || r.status != 200) return;
    const json info = json::parse(r.body, nullptr, false);
    if (!info.is_object()) return;
    auto member = [&](const char* key, const std::string& fallback) {
        return info.contains(key) && info[key].is_string() ? info[key].get<std::string>()
                                                           : fallback;
    };
    report_camera(discovery_entry(member("serialNumber", ip), member("model", ""), ip, port));
}

int OscClient::ScanDevices() {
    if (options_.dns_sd)
        browser_.start(options_.browse_window,
                       [this](const std::string& entry) { report_camera(entry); });
    probe_static_cameras();
    return 0;
}

int OscClient::SetMdnsCallback(MdnsResultCallback callback) {
    mdns_callback_ = callback;
    return 0;
}

int OscClient::SetOscCallback(OscResponseCallback callback) {
    osc_callback_ = callback;
    return 0;
}

int OscClient::Initialize() {
    return 0;
}

// ---- Options

int OscClient::GetOptionsAll(const char* ip, int port) {
    return queue_fixed(ip, port, "GetOptionsAll");
}
int OscClient::SetBrightness(const char* ip, int value, int port) {
    return queue_value(ip, port, "SetBrightness", value);
}
int OscClient::SetContrast(const char* ip, int value, int port) {
    return queue_value(ip, port, "SetContrast", value);
}
int OscClient::SetSaturation(const char* ip, int value, int port) {
    return queue_value(ip, port, "SetSaturation", value);
}
int OscClient::SetAWB(const char* ip, int value, int port) {
    return queue_value(ip, port, "SetAWB", value);
}
int OscClient::SetAutoAWB(const char* ip, int value, int port) {
    return queue_value(ip, port, "SetAutoAWB", value);
}
int OscClient::SetSharpness(const char* ip, int value, int port) {
    return queue_value(ip, port, "SetSharpness", value);
}
int OscClient::SetAntiFlicker(const char* ip, int value, int port) {
    return queue_value(ip, port, "SetAntiFlicker", value);
}
int OscClient::SetStreamParam(const char* ip, int width, int height, int, int framerate, int port) {
    return queue(
        ip, port,
        set_options("SetFormat",
                    {{"_fileFormatPreview",
                      {{{"width", width}, {"height", height}, {"framerate", framerate}}}}}));
}
int OscClient::SetMainStreamFormat(const char* ip, int width, int height, int, int framerate, int,
                                   int bitrate, int gop, int port) {
    return queue(ip, port,
                 set_options("SetFormat", {{"_fileFormatPreview",
                                            {{{"width", width},
                                              {"height", height},
                                              {"framerate", framerate},
                                              {"bitrate", bitrate},
                                              {"gop", gop}}}}}));
}
int OscClient::SetBitrate(const char* ip, int value, int port) {
    return queue_value(ip, port, "SetBitrate", value);
}
int OscClient::GetROI(const char* ip, int port) {
    return queue_fixed(ip, port, "GetROI");
}
int OscClient::SetROI(const char* ip, int port, video_layout_format layout) {
    return queue(ip, port, set_options("SetROI", {{"_roi", layout_to_json(layout)}}));
}
int OscClient::SetROI_Json(const char* ip, const char* text, int port) {
    json roi = json::parse(text_of(text), nullptr, false);
    if (!roi.is_object())
        return queue_failure(ip,
                             failure_document("camera.setOptions", "SetROI", "Invalid ROI JSON"));
    return queue(ip, port, set_options("SetROI", {{"_roi", std::move(roi)}}));
}
int OscClient::GetImrxMode(const char* ip, int port) {
    return queue_fixed(ip, port, "GetImrxMode");
}
int OscClient::SetImrxMode(const char* ip, int mode, int port) {
    return queue_value(ip, port, "SetImrxMode", mode);
}
int OscClient::GetCameraPlacement(const char* ip, int port) {
    return queue_fixed(ip, port, "GetCameraPlacement");
}
int OscClient::SetCameraPlacement(const char* ip, bool flipped, int port) {
    return queue_value(ip, port, "SetCameraPlacement", flipped);
}
int OscClient::GetHdr(const char* ip, int port) {
    return queue_fixed(ip, port, "GetHdr");
}
int OscClient::SetHDRValue(const char* ip, int value, int port) {
    return queue_value(ip, port, "SetHDRValue", value);
}
int OscClient::GetWdr(const char* ip, int port) {
    return queue_fixed(ip, port, "GetWdr");
}
int OscClient::SetWDRValue(const char* ip, int value, int port) {
    return queue_value(ip, port, "SetWDRValue", value);
}
int OscClient::SetTiltShift(const char* ip, int value, int port) {
    return queue_value(ip, port, "SetTiltShift", value);
}
int OscClient::GetUpdateProgress(const char* ip, int port) {
    return queue_fixed(ip, port, "GetUpdateProgress");
}
int OscClient::GetCameraName(const char* ip, int port) {
    return queue_fixed(ip, port, "GetCameraName");
}
int OscClient::GetServicePorts(const char* ip, int port) {
    return queue_fixed(ip, port, "GetServicePorts");
}
int OscClient::SetCameraPorts(const char* ip, int http_port, int https_port, int rtsp_port,
                              int port) {
    return queue(
        ip, port,
        set_options(
            "SetServicePorts",
            {{"_servicePort", {{"http", http_port}, {"https", https_port}, {"rtsp", rtsp_port}}}}));
}

// ---- Network and system

int OscClient::SetDhcp(const char* ip, int port) {
    return queue_fixed(ip, port, "SetDhcp");
}
int OscClient::SetStaticIp(const char* ip, const char* address, const char* gateway,
                           const char* mask, int port) {
    return queue(ip, port,
                 set_options("SetStaticIp", {{"_network",
                                              {{"mode", "static"},
                                               {"address", text_of(address)},
                                               {"gateway", text_of(gateway)},
                                               {"mask", text_of(mask)}}}}));
}
int OscClient::GetAuthEnable(const char* ip, int port) {
    return queue_fixed(ip, port, "GetAuthEnable");
}
int OscClient::SetAuthEnable(const char* ip, bool enable, int port) {
    return queue_value(ip, port, "SetAuthEnable", enable);
}
int OscClient::SetSyslogEnable(const char* ip, const char* server, int server_port, short enable,
                               int port) {
    return queue(
        ip, port,
        set_options(
            "SetSyslogEnable",
            {{"_syslog",
              {{"enable", enable != 0}, {"server", text_of(server)}, {"port", server_port}}}}));
}
int OscClient::GetSyslogEnable(const char* ip, int port) {
    return queue_fixed(ip, port, "GetSyslogEnable");
}
int OscClient::GetNetSetting(const char* ip, int port) {
    return queue_fixed(ip, port, "GetNetSetting");
}
int OscClient::AstParamRwSave(const char* ip, int port) {
    return queue_fixed(ip, port, "AstParamRwSave");
}
int OscClient::Reboot(const char* ip, int port) {
    return queue_fixed(ip, port, "Reboot");
}
int OscClient::GetInfo(const char* ip, int port) {
    return queue_fixed(ip, port, "GetInfo");
}
int OscClient::GetCameraState(const char* ip, int port) {
    return queue_fixed(ip, port, "GetCameraState");
}
int OscClient::EnableGyro(const char* ip, int port) {
    return queue_fixed(ip, port, "EnableGyro");
}
int OscClient::DisableGyro(const char* ip, int port) {
    return queue_fixed(ip, port, "DisableGyro");
}
int OscClient::SendCmdLine(const char* ip, const char* cmdline, int port) {
    return queue(ip, port, command_line("SendCmdLine", {{"cmdLine", text_of(cmdline)}}));
}

// ---- Streaming and capture

int OscClient::StartStreaming(const char* ip, int port) {
    return queue_fixed(ip, port, "StartStreaming");
}
int OscClient::StopStreaming(const char* ip, int port) {
    return queue_fixed(ip, port, "StopStreaming");
}
int OscClient::TakeScreenShot(const char* ip, int port) {
    return queue_fixed(ip, port, "TakeScreenShot");
}
int OscClient::GetCaptureStatus(const char* ip, int port) {
    return queue_fixed(ip, port, "GetCaptureStatus");
}

// ---- Diagnostics and versions

int OscClient::GetFwVer1220ByIp(const char* ip, int port) {
    return queue_fixed(ip, port, "GetFwVer1220ByIp");
}
int OscClient::GetFwVer1220_1230(const char* ip, int port) {
    return queue_fixed(ip, port, "GetFwVer1220_1230");
}
int OscClient::GetQPpreview(const char* ip, int port) {
    return queue_fixed(ip, port, "GetQPpreview");
}
int OscClient::GetProcessList(const char* ip, int port) {
    return queue_fixed(ip, port, "GetProcessList");
}
int OscClient::GetAst1230UsbList(const char* ip, int port) {
    return queue_fixed(ip, port, "GetAst1230UsbList");
}
int OscClient::GetCpuUsage(const char* ip, int port) {
    return queue_fixed(ip, port, "GetCpuUsage");
}
int OscClient::GetMemoryUsage(const char* ip, int port) {
    return queue_fixed(ip, port, "GetMemoryUsage");
}
int OscClient::GetGyroAndAccel(const char* ip, int port) {
    return queue_fixed(ip, port, "GetGyroAndAccel");
}

// ---- Firmware

int OscClient::queue_firmware(const char* ip, int port, FirmwarePlan plan) {
    if (!ip) return -1;
    dispatcher_.submit(ip, firmware_job(port, std::move(plan), options_, deliverer()));
    return 0;
}

int OscClient::Update1220(const char* ip, const char* file, int port) {
    return queue_firmware(ip, port, plan_1220(text_of(file)));
}
int OscClient::Update1230_6127(const char* ip, const char* file1, const char* file2,
                               const char* file3, int port) {
    return queue_firmware(
        ip, port,
        plan_1230("Update1230_6127", "Q06127", {text_of(file1), text_of(file2), text_of(file3)}));
}
int OscClient::Update1230_4932(const char* ip, const char* file1, const char* file2,
                               const char* file3, int port) {
    return queue_firmware(
        ip, port,
        plan_1230("Update1230_4932", "Q04932", {text_of(file1), text_of(file2), text_of(file3)}));
}
int OscClient::Update1230_7261(const char* ip, const char* file1, const char* file2,
                               const char* file3, int port) {
    return queue_firmware(
        ip, port,
        plan_1230("Update1230_7261", "Q07261", {text_of(file1), text_of(file2), text_of(file3)}));
}
int OscClient::UpdateFWAll(const char* ip, const char* file1220, const char* file1,
                           const char* file2, const char* file3, int port) {
    return queue_firmware(
        ip, port, plan_all(text_of(file1220), {text_of(file1), text_of(file2), text_of(file3)}));
}

}  // namespace oscclient
