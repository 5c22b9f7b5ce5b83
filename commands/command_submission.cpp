// The submission pattern every camera operation follows: make sure the camera
// has an entry, store the arguments in its record, queue the command names.
#include "facade/oscapi_handler.h"

CameraEntryPtr OSCAPIHANDLER::_camera_for_command(const char* ip) {
    if (!m_pOscAPI) return nullptr;
    _ensure_camera_entry_exits(ip, kDefaultHttpPort);
    return _find_camera(ip);
}

void OSCAPIHANDLER::_queue_commands(const CameraEntry& camera, int port,
                                    std::initializer_list<const char*> names) {
    const int slot = camera.read([](const CAM_PARAM& r) { return r.slot_index; });
    if (slot < 0) return;  // no worker to send it (camera limit reached)
    std::lock_guard<std::mutex> lock(m_cmdMutex[slot]);
    for (const char* name : names) _push_command(slot, QueuedCommand{name, port});
}

void OSCAPIHANDLER::_store_and_queue(const char* ip, int port, int CAM_PARAM::*field, int value,
                                     const char* command) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([&](CAM_PARAM& r) {
        r.*field = value;
        r.http_port = port;
    });
    _queue_commands(*camera, port, {command});
}

void OSCAPIHANDLER::_queue_only(const char* ip, int port, const char* command) {
    CameraEntryPtr camera = _camera_for_command(ip);
    if (!camera) return;
    camera->update([port](CAM_PARAM& r) { r.http_port = port; });
    _queue_commands(*camera, port, {command});
}
