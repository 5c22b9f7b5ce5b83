// Camera entries: the map from IP text to record, and the worker slot that
// each entry owns.
#include <chrono>
#include <string>
#include <thread>

#include "facade/oscapi_handler.h"

CameraEntryPtr OSCAPIHANDLER::_find_camera(const std::string& ip) const {
    std::shared_lock<std::shared_mutex> lock(m_camerasMutex);
    const auto found = m_cameras.find(ip);
    return found != m_cameras.end() ? found->second : nullptr;
}

CameraEntryPtr OSCAPIHANDLER::_find_or_insert_camera(const std::string& ip) {
    std::unique_lock<std::shared_mutex> lock(m_camerasMutex);
    CameraEntryPtr& camera = m_cameras[ip];
    if (!camera) camera = std::make_shared<CameraEntry>();
    return camera;
}

int OSCAPIHANDLER::_search_free_slot() {
    for (int slot = 0; slot < kSlotCount; ++slot) {
        if (!m_workerRunning[slot]) {
            current_operating_idx = slot;
            return slot;
        }
    }
    return current_operating_idx;  // no free slot: the previous result stands
}

void OSCAPIHANDLER::_start_worker(const std::string& ip, int slot) {
    if (m_worker[slot].joinable()) m_worker[slot].join();  // a previous worker that has ended
    {
        // An operation that found a removed camera's entry just before it
        // went may have queued here after that worker's last drain.
        std::lock_guard<std::mutex> lock(m_cmdMutex[slot]);
        m_cmdQueue[slot].clear();
    }
    m_skipAll[slot] = false;
    m_workerStop[slot] = false;
    m_cmdReady[slot] = true;
    m_worker[slot] = std::thread(&OSCAPIHANDLER::_camera_worker_thread, this, ip, slot);
    // The worker marks its slot taken as its first action; wait for it so the
    // next slot search skips this one.
    while (!m_workerRunning[slot]) std::this_thread::sleep_for(m_timings.start_poll);
}

void OSCAPIHANDLER::_ensure_camera_entry_exits(const char* ip, int port) {
    int exceeded_slot = -1;
    {
        std::lock_guard<std::mutex> lock(m_entryMutex);
        if (m_shuttingDown) return;
        const std::string key(ip);
        CameraEntryPtr camera = _find_camera(key);
        const int slot = _search_free_slot();
        // An entry made by a report lookup has no slot yet; it gets one here.
        const bool needs_slot =
            !camera || camera->read([](const CAM_PARAM& r) { return r.slot_index; }) < 0;
        if (slot >= kMaxCameras) {
            exceeded_slot = slot;
        } else if (needs_slot) {
            if (camera) {
                camera->update([slot](CAM_PARAM& r) { r.slot_index = slot; });
            } else {
                CAM_PARAM record;
                record.slot_index = slot;
                record.http_port = port;
                std::unique_lock<std::shared_mutex> map_lock(m_camerasMutex);
                m_cameras.emplace(key, std::make_shared<CameraEntry>(std::move(record)));
            }
            _start_worker(key, slot);
        }
    }
    // Logged outside the entry lock so that a host log callback may call back in.
    if (exceeded_slot >= 0) {
        _put_log("_ensure_camera_entry_exits thread id may exceeded " +
                 std::to_string(exceeded_slot));
    }
}
