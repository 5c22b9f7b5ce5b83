// A look inside the live handler, for tests: records, queues and slot flags.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "facade/oscapi_handler.h"

struct HandlerTestAccess {
    static OSCAPIHANDLER& handler() { return *m_inst; }

    static void ensure(const std::string& ip, int port = kDefaultHttpPort) {
        handler()._ensure_camera_entry_exits(ip.c_str(), port);
    }

    static std::optional<CAM_PARAM> record(const std::string& ip) {
        CameraEntryPtr camera = handler()._find_camera(ip);
        if (!camera) return std::nullopt;
        return camera->snapshot();
    }

    template <class Fn>
    static void edit(const std::string& ip, Fn&& fn) {
        handler()._find_camera(ip)->update(std::forward<Fn>(fn));
    }

    static size_t camera_count() {
        std::shared_lock<std::shared_mutex> lock(handler().m_camerasMutex);
        return handler().m_cameras.size();
    }

    static int slot_of(const std::string& ip) {
        auto r = record(ip);
        return r ? r->slot_index : -1;
    }

    static std::vector<std::pair<std::string, int>> queued(const std::string& ip) {
        std::vector<std::pair<std::string, int>> out;
        const int slot = slot_of(ip);
        if (slot < 0) return out;
        std::lock_guard<std::mutex> lock(handler().m_cmdMutex[slot]);
        for (const auto& c : handler().m_cmdQueue[slot]) out.emplace_back(c.name, c.port);
        return out;
    }

    static std::vector<std::string> queued_names(const std::string& ip) {
        std::vector<std::string> names;
        for (auto& entry : queued(ip)) names.push_back(entry.first);
        return names;
    }

    // A held camera sends nothing until released (its gate stays closed while
    // it has not sent anything yet).
    static void hold(const std::string& ip) { handler().m_cmdReady[slot_of(ip)] = false; }
    static void release(const std::string& ip) { handler().m_cmdReady[slot_of(ip)] = true; }
    static bool ready(int slot) { return handler().m_cmdReady[slot]; }
    static bool running(int slot) { return handler().m_workerRunning[slot]; }
    static bool skip_all(int slot) { return handler().m_skipAll[slot]; }
    static void set_skip_all(int slot) { handler().m_skipAll[slot] = true; }
    static bool roi_requested() { return handler().m_roiRequested; }

    // Ends the camera's worker but keeps its entry, as during shutdown.
    static void stop_worker(const std::string& ip) {
        const int slot = slot_of(ip);
        std::lock_guard<std::mutex> lock(handler().m_entryMutex);
        handler().m_workerStop[slot] = true;
        if (handler().m_worker[slot].joinable()) handler().m_worker[slot].join();
    }

    // Queues a raw command name, as the operations do.
    static void push(const std::string& ip, const std::string& name, int port = kDefaultHttpPort) {
        const int slot = slot_of(ip);
        std::lock_guard<std::mutex> lock(handler().m_cmdMutex[slot]);
        handler().m_cmdQueue[slot].push_back(QueuedCommand{name, port});
    }

    static void deliver(const std::string& response, const std::string& ip, int error) {
        handler()._on_receive_osccallback(response.c_str(), ip.c_str(), error);
    }
    static void notify_parameters(const std::string& ip) {
        handler()._notify_camera_parameters(ip.c_str());
    }
};
