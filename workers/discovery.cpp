// Cameras found on the network, and the host's way to forget one.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "facade/oscapi_handler.h"

namespace {

struct DiscoveredCamera {
    std::string ip;
    int port = 0;
};

// The port as the standard string-to-int conversion reads it: leading blanks
// and a sign accepted, stops at the first non-digit. Nothing when the text does
// not begin with a number or the number does not fit an int.
std::optional<int> leading_int(const std::string& text) {
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(begin, &end, 10);
    if (end == begin || errno == ERANGE || value < INT_MIN || value > INT_MAX) return std::nullopt;
    return static_cast<int>(value);
}

}  // namespace

void OSCAPIHANDLER::ScanSupportDevices() {
    if (m_pOscAPI) m_pOscAPI->ScanDevices();
}

void OSCAPIHANDLER::_on_receive_mdns_result(const char** entries, int count) {
    _put_log("_on_receive_mdns_result device count " + std::to_string(count));
    for (int i = 0; i < count && entries != nullptr; ++i) {
        _put_log("---------------------\n");
        const std::string entry = entries[i] != nullptr ? entries[i] : "";
        _put_log(entry);
        // Only the last two comma-separated fields count: IP, then port.
        const auto port_comma = entry.rfind(',');
        if (port_comma == std::string::npos) continue;
        const std::string head = entry.substr(0, port_comma);
        const auto ip_comma = head.rfind(',');
        const std::string ip = ip_comma == std::string::npos ? head : head.substr(ip_comma + 1);
        const std::optional<int> port = leading_int(entry.substr(port_comma + 1));
        if (!port) {
            _put_log("_on_receive_mdns_result skipped " + ip + ": port is not a number");
            continue;
        }
        _ensure_camera_entry_exits(ip.c_str(), *port);
    }

    DeviceListCallback callback = m_cbDeviceList.load();
    if (callback == nullptr) return;
    std::vector<std::pair<std::string, CameraEntryPtr>> cameras;
    {
        std::shared_lock<std::shared_mutex> lock(m_camerasMutex);
        cameras.assign(m_cameras.begin(), m_cameras.end());
    }
    std::string list;
    for (const auto& [ip, camera] : cameras) {
        const int port = camera->read([](const CAM_PARAM& r) { return r.http_port; });
        list += ip + ":" + std::to_string(port) + ";";
    }
    callback(list.c_str());
}

// The entry goes at once, under the entry lock; the worker is joined after
// the lock is released, so that a log callback it is running may still call
// any operation (a command for this IP then makes a new entry). The worker
// drains its queue and frees its slot as it ends.
bool OSCAPIHANDLER::RemoveCachedDevice(const char* ip) {
    _put_log(std::string("RemoveCachedDevice") + ip);
    int slot = -1;
    std::thread worker;
    {
        std::lock_guard<std::mutex> lock(m_entryMutex);
        CameraEntryPtr camera = _find_camera(ip);
        if (!camera) return false;
        slot = camera->read([](const CAM_PARAM& r) { return r.slot_index; });
        if (slot >= 0) {
            _request_worker_stop(slot);
            // Removed from inside its own worker's callback: it ends by
            // itself once the callback returns; Destroy or the slot's next
            // worker joins it.
            if (m_worker[slot].get_id() != std::this_thread::get_id())
                worker = std::move(m_worker[slot]);
        }
        std::unique_lock<std::shared_mutex> map_lock(m_camerasMutex);
        m_cameras.erase(ip);
    }
    _put_log("RemoveCachedDevice opt_id " + std::to_string(slot));
    if (worker.joinable()) worker.join();
    return true;
}
