#include "tools/console/handler_link.h"

#include <cstdio>
#include <exception>

#include "IVeskOSCHandlerInst.h"

namespace osconsole {

namespace {

// The callbacks are plain C function pointers without a context argument.
FleetState* g_state = nullptr;
HandlerHooks g_hooks;

std::string text(const char* s) {
    return s ? s : "";
}

// Nothing may leave a callback: the handler's threads run it.
template <typename F>
void guarded(const char* what, F&& body) {
    if (!g_state) return;
    try {
        body(*g_state);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "osc-console: %s callback: %s\n", what, e.what());
    } catch (...) {
        std::fprintf(stderr, "osc-console: %s callback failed\n", what);
    }
}

void on_device_list(const char* list) {
    guarded("device list", [&](FleetState&) {
        if (g_hooks.device_list) g_hooks.device_list(text(list));
    });
}

void on_params(const char* ip, const char* json) {
    guarded("parameter", [&](FleetState& s) { s.on_params(text(ip), text(json)); });
}

void on_result(const char* ip, const char* command, bool ok, const char* message) {
    guarded("result", [&](FleetState& s) {
        s.on_result(text(ip), text(command), ok, text(message));
        if (ok && text(command) == "TakeScreenShot" && g_hooks.screenshot_ready)
            g_hooks.screenshot_ready(text(ip), text(message));
    });
}

void on_health(const char* ip, bool process_ok, float cpu, float memory, bool in_preview,
               int mode) {
    guarded("health", [&](FleetState& s) {
        s.on_health(text(ip), process_ok, cpu, memory, in_preview, mode);
    });
}

void on_upload(const char* ip, bool firmware_image) {
    guarded("upload", [&](FleetState& s) { s.on_upload_confirmed(text(ip), firmware_image); });
}

void on_progress(const char* ip, const char* message, int value) {
    guarded("progress",
            [&](FleetState& s) { s.on_update_progress(text(ip), text(message), value); });
}

void on_reboot(const char* ip, bool state) {
    guarded("reboot", [&](FleetState& s) { s.on_reboot_state(text(ip), state); });
}

void on_log(const char* line) {
    guarded("log", [&](FleetState& s) {
        if (g_hooks.echo_log) std::fprintf(stderr, "[handler] %s\n", line ? line : "");
        s.on_log(text(line));
    });
}

}  // namespace

HandlerLink::HandlerLink(const std::string& client_dir, FleetState& state, HandlerHooks hooks) {
    g_state = &state;
    g_hooks = std::move(hooks);
    Init(client_dir.c_str());
    SetLogCallback(on_log);
    SetDataCallback(on_device_list, on_params, on_result, on_health);
    SetFWUpdateCallback(on_upload, on_progress);
    SetRebootStateCallback(on_reboot);
}

HandlerLink::~HandlerLink() {
    if (released_) return;
    Destroy();
    g_state = nullptr;
}

}  // namespace osconsole
