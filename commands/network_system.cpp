// Network setup, persistence, reboot, versions, health, sensors, screenshot
// and raw command lines.
#include "commands/command_text.h"
#include "facade/oscapi_handler.h"

void OSCAPIHANDLER::SetStaticIP(const char* ip, int port, const char* static_ip,
                                const char* gateway, const char* mask) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([&](CAM_PARAM& r) {
        r.static_ip = text_argument(static_ip);
        r.gateway = text_argument(gateway);
        r.mask = text_argument(mask);
        r.http_port = port;
    });
    _queue_commands(*camera, port, {osc_texts::kQueuedSetStaticIp});
}

void OSCAPIHANDLER::SetDHCP(const char* ip, int port) {
    _queue_only(ip, port, osc_texts::kQueuedSetDhcp);
}

void OSCAPIHANDLER::SaveParam(const char* ip, int port) {
    _queue_only(ip, port, osc_texts::kQueuedSaveParam);
}

// The versions are reported once the parameters are known (see the answer
// parser's common tail).
void OSCAPIHANDLER::GetVersion(const char* ip, int port) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([port](CAM_PARAM& r) {
        r.version_query_pending = true;
        r.http_port = port;
    });
    _queue_commands(*camera, port, {"GetFwVer1220_1230"});
}

// After a reboot the next settings query fetches everything again.
void OSCAPIHANDLER::RebootCamera(const char* ip, int port) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([port](CAM_PARAM& r) {
        r.http_port = port;
        r.got_param = false;
    });
    _queue_commands(*camera, port, {"Reboot"});
}

void OSCAPIHANDLER::GetCameraHealthAndUsage(const char* ip, int port) {
    _queue_only(ip, port, "GetCameraState");
}

// Answers at once from the record; an unknown camera reports the defaults and
// gets no entry.
void OSCAPIHANDLER::GetCameraHealthAndUsage_stored(const char* ip, int /*port*/) {
    CAM_PARAM snapshot;
    if (CameraEntryPtr camera = _find_camera(text_argument(ip))) snapshot = camera->snapshot();
    if (HealthUsageCallback callback = m_cbHealthUsage.load()) {
        callback(ip, snapshot.process_ok, snapshot.cpu_usage, snapshot.memory_usage,
                 snapshot.in_preview, snapshot.mode);
    }
}

void OSCAPIHANDLER::GetGyroAndAccel(const char* ip, int port) {
    _queue_only(ip, port, "GetGyroAndAccel");
}

void OSCAPIHANDLER::TakeScreenShot(const char* ip, int port) {
    _queue_only(ip, port, "TakeScreenShot");
}

void OSCAPIHANDLER::SetSyslogEnable(const char* ip, int port, const char* server, int server_port,
                                    int enable) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([&](CAM_PARAM& r) {
        r.http_port = port;
        r.log_server_ip = text_argument(server);
        r.log_server_port = server_port;
        r.enable_log_server = enable != 0;
    });
    _queue_commands(*camera, port, {"SetSyslogEnable"});
}

void OSCAPIHANDLER::EnableGyro(const char* ip, int port, bool enable) {
    _queue_only(ip, port, enable ? "EnableGyro" : "DisableGyro");
}

void OSCAPIHANDLER::EnableAuth(const char* ip, int port, bool enable) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([port](CAM_PARAM& r) { r.http_port = port; });
    const int slot = camera->read([](const CAM_PARAM& r) { return r.slot_index; });
    if (slot < 0) return;
    // The flag is written under the queue lock, together with its command.
    std::lock_guard<std::mutex> lock(m_cmdMutex[slot]);
    camera->update([enable](CAM_PARAM& r) { r.auth_enabled = enable; });
    _push_command(slot, QueuedCommand{"SetAuthEnable", port});
}

// The new HTTP port replaces the old one in the record, but this command still
// travels to the camera's old port.
void OSCAPIHANDLER::SetCameraPorts(const char* ip, int port, int http_port, int https_port,
                                   int rtsp_port) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([&](CAM_PARAM& r) {
        r.http_port = http_port;
        r.https_port = https_port;
        r.rtsp_port = rtsp_port;
    });
    _queue_commands(*camera, port, {"SetCameraPorts"});
}

void OSCAPIHANDLER::SendCmdLine(const char* ip, int port, const char* cmdline) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([&](CAM_PARAM& r) {
        r.cmdline = text_argument(cmdline);
        r.http_port = port;
    });
    _queue_commands(*camera, port, {"SendCmdLine"});
}
