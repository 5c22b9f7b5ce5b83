// Picture settings: each stores one value and queues one command.
#include "facade/oscapi_handler.h"

void OSCAPIHANDLER::SetBrightness(const char* ip, int port, int value) {
    _store_and_queue(ip, port, &CAM_PARAM::brightness_current, value, "SetBrightness");
}

void OSCAPIHANDLER::SetContrast(const char* ip, int port, int value) {
    _store_and_queue(ip, port, &CAM_PARAM::contrast_current, value, "SetContrast");
}

void OSCAPIHANDLER::SetSaturation(const char* ip, int port, int value) {
    _store_and_queue(ip, port, &CAM_PARAM::saturation_current, value, "SetSaturation");
}

void OSCAPIHANDLER::SetAWB(const char* ip, int port, int value) {
    _store_and_queue(ip, port, &CAM_PARAM::awb_current, value, "SetAWB");
}

void OSCAPIHANDLER::SetAutoAWB(const char* ip, int port, int value) {
    _store_and_queue(ip, port, &CAM_PARAM::autoawb_current, value, "SetAutoAWB");
}

void OSCAPIHANDLER::SetSharpness(const char* ip, int port, int value) {
    _store_and_queue(ip, port, &CAM_PARAM::sharpness_current, value, "SetSharpness");
}

void OSCAPIHANDLER::SetAntiFlicker(const char* ip, int port, int value) {
    _store_and_queue(ip, port, &CAM_PARAM::antiflicker_current, value, "SetAntiFlicker");
}

void OSCAPIHANDLER::SetWDRValue(const char* ip, int port, int value) {
    _store_and_queue(ip, port, &CAM_PARAM::wdr_value, value, "SetWDRValue");
}

void OSCAPIHANDLER::SetHDRValue(const char* ip, int port, int value) {
    _store_and_queue(ip, port, &CAM_PARAM::hdr_value, value, "SetHDRValue");
}

void OSCAPIHANDLER::SetTiltShift(const char* ip, int port, int value) {
    _store_and_queue(ip, port, &CAM_PARAM::tilt_shift, value, "SetTiltShift");
}

void OSCAPIHANDLER::SetBitrate(const char* ip, int port, int value) {
    _store_and_queue(ip, port, &CAM_PARAM::bitrate, value, "SetBitrate");
}

void OSCAPIHANDLER::SetMode(const char* ip, int port, int mode) {
    _store_and_queue(ip, port, &CAM_PARAM::mode, mode, "SetImrxMode");
}

// The answer reports the mode only when it was asked for.
void OSCAPIHANDLER::GetMode(const char* ip, int port) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([port](CAM_PARAM& r) {
        r.mode_query_pending = true;
        r.http_port = port;
    });
    _queue_commands(*camera, port, {"GetImrxMode"});
}
