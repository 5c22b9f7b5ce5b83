// A look inside the live handler, for set-ups that the C interface cannot make
// and for the fuzz targets.
#pragma once

#include <string>
#include <utility>

#include "facade/oscapi_handler.h"

struct HandlerTestAccess {
    static OSCAPIHANDLER& handler() { return *m_inst; }

    static void ensure(const std::string& ip, int port = kDefaultHttpPort) {
        handler()._ensure_camera_entry_exits(ip.c_str(), port);
    }
    template <class Fn>
    static void edit(const std::string& ip, Fn&& fn) {
        handler()._find_camera(ip)->update(std::forward<Fn>(fn));
    }
    // A held camera sends nothing until released: its gate stays closed.
    static void hold(const std::string& ip, bool held = true) {
        const int slot =
            handler()._find_camera(ip)->read([](const CAM_PARAM& r) { return r.slot_index; });
        handler().m_cmdReady[slot] = !held;
    }
    static void deliver(const std::string& response, const std::string& ip, int error) {
        handler()._on_receive_osccallback(response.c_str(), ip.c_str(), error);
    }
};
