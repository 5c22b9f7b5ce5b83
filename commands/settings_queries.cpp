// The camera's full parameter document: fetched from the camera, or reported
// from the record when it is already complete.
#include "facade/oscapi_handler.h"

void OSCAPIHANDLER::GetCameraSettings(const char* ip, int port, bool force) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    const bool refetch = camera->update([&](CAM_PARAM& r) {
        r.http_port = port;
        if (r.got_param && !force) return false;
        r.got_param = false;
        return true;
    });
    if (!refetch) {
        _notify_camera_parameters(ip);
        return;
    }
    // The full refresh, in one hold of the queue lock so nothing interleaves.
    _queue_commands(*camera, port,
                    {"GetNetSetting", "GetSyslogEnable", "GetAuthEnable", "GetROI", "GetInfo",
                     "GetServicePorts", "GetCameraName", "GetOptionsAll", "StartStreaming"});
}

void OSCAPIHANDLER::GetCameraParams(const char* ip) {
    _notify_camera_parameters(ip);
}
