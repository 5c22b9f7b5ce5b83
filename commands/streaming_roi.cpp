// Streaming, preview format and region-of-interest operations. Format changes
// run inside a stop/start bracket; region operations need a mode with regions.
#include "commands/command_text.h"
#include "facade/oscapi_handler.h"

namespace {
bool has_regions(int mode) {
    return mode == 2 || mode == 3;
}
constexpr int kPreviewMode = 1;
}  // namespace

void OSCAPIHANDLER::StartStreaming(const char* ip, int port) {
    _queue_only(ip, port, "StartStreaming");
}

void OSCAPIHANDLER::SetVerticalFlip(const char* ip, int port, bool flip) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([&](CAM_PARAM& r) {
        r.vertical_flipped = flip;
        r.http_port = port;
    });
    _queue_commands(*camera, port, {"StopStreaming", "SetCameraPlacement", "StartStreaming"});
}

// Outside preview mode the new size waits in the record for the next restart.
void OSCAPIHANDLER::SetPreviewFormat(const char* ip, int port, int width, int height) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    const int mode = camera->update([&](CAM_PARAM& r) {
        r.current_resolution = Resolution{width, height};
        r.http_port = port;
        return r.mode;
    });
    if (mode != kPreviewMode) return;
    _queue_commands(*camera, port, {"StopStreaming", "SetStreamParam", "StartStreaming"});
}

void OSCAPIHANDLER::SetPreviewFormat2(const char* ip, int port, int width, int height,
                                      const char* encode_type, int framerate, int bitrate,
                                      int gop) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    const int mode = camera->update([&](CAM_PARAM& r) {
        r.current_resolution = Resolution{width, height};
        r.encode_type = text_argument(encode_type);
        r.framerate = framerate;
        r.bitrate = bitrate;
        r.gop = gop;
        r.http_port = port;
        return r.mode;
    });
    if (mode != kPreviewMode) return;
    _queue_commands(*camera, port, {"StopStreaming", "SetMainStreamFormat", "StartStreaming"});
}

void OSCAPIHANDLER::GetROI(const char* ip, int port) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    if (!has_regions(camera->read([](const CAM_PARAM& r) { return r.mode; }))) return;
    m_roiRequested = true;
    camera->update([port](CAM_PARAM& r) { r.http_port = port; });
    _queue_commands(*camera, port, {"GetROI"});
}

void OSCAPIHANDLER::SetROI(const char* ip, int port, const video_layout_format& layout) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    if (!has_regions(camera->read([](const CAM_PARAM& r) { return r.mode; }))) return;
    camera->update([&](CAM_PARAM& r) {
        r.roi_layout = layout;
        r.http_port = port;
    });
    _queue_commands(*camera, port, {"SetROI"});
}

void OSCAPIHANDLER::SetROI_Json(const char* ip, int port, const char* json) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    if (!has_regions(camera->read([](const CAM_PARAM& r) { return r.mode; }))) return;
    camera->update([&](CAM_PARAM& r) {
        r.roi_json = text_argument(json);
        r.http_port = port;
    });
    _queue_commands(*camera, port, {"SetROI_Json"});
}
