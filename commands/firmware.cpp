// Firmware updates: the paths wait in the record; one queued command stands
// for the whole update, so a later call can still change what it uploads.
#include "commands/command_text.h"
#include "facade/oscapi_handler.h"

void OSCAPIHANDLER::Update1220Firmware(const char* ip, int port, const char* file) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([&](CAM_PARAM& r) {
        r.fw_1220_path = text_argument(file);
        r.http_port = port;
    });
    _queue_commands(*camera, port, {"Update1220"});
}

void OSCAPIHANDLER::Update1230Firmware(const char* ip, int port, const char* file1,
                                       const char* file2, const char* file3) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([&](CAM_PARAM& r) {
        r.fw_1230_path_1 = text_argument(file1);
        r.fw_1230_path_2 = text_argument(file2);
        r.fw_1230_path_3 = text_argument(file3);
        r.http_port = port;
    });
    _queue_commands(*camera, port, {"Update1230"});
}

void OSCAPIHANDLER::UpdateFirmwareAll(const char* ip, int port, const char* file1_1230,
                                      const char* file2_1230, const char* file3_1230,
                                      const char* file_1220) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([&](CAM_PARAM& r) {
        r.fw_1230_path_1 = text_argument(file1_1230);
        r.fw_1230_path_2 = text_argument(file2_1230);
        r.fw_1230_path_3 = text_argument(file3_1230);
        r.fw_1220_path = text_argument(file_1220);
        r.http_port = port;
    });
    _queue_commands(*camera, port, {"UpdateFWAll"});
}

void OSCAPIHANDLER::GetUpdateProgress(const char* ip, int port) {
    _queue_only(ip, port, "GetUpdateProgress");
}
