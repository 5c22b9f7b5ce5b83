#include "tools/oscctl/handler_session.h"

#include <cstdio>

#include "IVeskOSCHandlerInst.h"

namespace oscctl {

namespace {

// The callbacks are plain C function pointers without a context argument.
EventLog* g_events = nullptr;
bool g_verbose = false;

std::string text(const char* s) {
    return s ? s : "";
}

void record(Event event) {
    if (g_events) g_events->push(std::move(event));
}

void on_device_list(const char* list) {
    record({{"event", "devices"}, {"list", text(list)}});
}

void on_params(const char* ip, const char* json) {
    record({{"event", "params"}, {"ip", text(ip)}, {"json", text(json)}});
}

void on_result(const char* ip, const char* command, bool ok, const char* message) {
    record({{"event", "result"},
            {"ip", text(ip)},
            {"command", text(command)},
            {"ok", ok},
            {"message", text(message)}});
}

void on_health(const char* ip, bool process_ok, float cpu, float memory, bool in_preview,
               int mode) {
    record({{"event", "health"},
            {"ip", text(ip)},
            {"process_ok", process_ok},
            {"cpu_usage", cpu},
            {"memory_usage", memory},
            {"in_preview", in_preview},
            {"mode", mode}});
}

void on_fw_result(const char* ip, bool ok) {
    record({{"event", "fw_upload"}, {"ip", text(ip)}, {"image", ok}});
}

void on_fw_progress(const char* ip, const char* message, int value) {
    record({{"event", "fw_progress"}, {"ip", text(ip)}, {"text", text(message)}, {"value", value}});
}

void on_reboot(const char* ip, bool state) {
    record({{"event", "reboot"}, {"ip", text(ip)}, {"state", state}});
}

void on_log(const char* line) {
    if (g_verbose) std::fprintf(stderr, "[handler] %s\n", line ? line : "");
}

}  // namespace

HandlerSession::HandlerSession(const std::string& client_dir, bool verbose) {
    g_events = &events_;
    g_verbose = verbose;
    Init(client_dir.c_str());
    SetLogCallback(on_log);
    SetDataCallback(on_device_list, on_params, on_result, on_health);
    SetFWUpdateCallback(on_fw_result, on_fw_progress);
    SetRebootStateCallback(on_reboot);
}

HandlerSession::~HandlerSession() {
    Destroy();
    g_events = nullptr;
}

}  // namespace oscctl
