#include "tools/oscctl/handler_session.h"

#include <cstdio>

#include "IVeskOSCHandlerInst.h"

namespace oscctl {

namespace {

// The callbacks are plain C function pointers without a context argument.
EventLog* g_events = nullptr;
bool g_verbose = false;
// The handler logs a failed answer's whole document (with the client's
// "cause") just before it reports the failure, on the same thread.
thread_local std::string t_answer_ip;
thread_local std::string t_failure_cause;

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

// Adds the cause the handler logged for this camera's failed answer.
Event with_cause(Event event) {
    if (!t_failure_cause.empty() && event.value("ip", "") == t_answer_ip)
        event["cause"] = t_failure_cause;
    return event;
}

void on_result(const char* ip, const char* command, bool ok, const char* message) {
    Event event{{"event", "result"},
                {"ip", text(ip)},
                {"command", text(command)},
                {"ok", ok},
                {"message", text(message)}};
    record(ok ? std::move(event) : with_cause(std::move(event)));
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
    Event event{{"event", "reboot"}, {"ip", text(ip)}, {"state", state}};
    record(state ? std::move(event) : with_cause(std::move(event)));
}

bool starts_with(const std::string& line, const std::string& prefix) {
    return line.compare(0, prefix.size(), prefix) == 0;
}

// The few log lines a one-shot host acts on: an answer arrived (it is on
// its way to a callback), why it failed, or that the handler could not use it.
void on_log(const char* raw) {
    const std::string line = text(raw);
    if (g_verbose) std::fprintf(stderr, "[handler] %s\n", line.c_str());
    static const std::string kAnswer = "response_ip: ";
    static const std::string kFailure = "OscApi Error: ";
    static const std::string kUnhandled = "response from ";
    if (starts_with(line, kAnswer)) {
        t_answer_ip = line.substr(kAnswer.size());
        t_failure_cause.clear();
        record({{"event", "answer"}, {"ip", t_answer_ip}});
    } else if (starts_with(line, kFailure)) {
        const auto failure = nlohmann::json::parse(line.substr(kFailure.size()), nullptr, false);
        if (failure.is_object()) t_failure_cause = failure.value("cause", "");
    } else if (starts_with(line, kUnhandled)) {
        // "response from IP not handled[: what]"
        const std::string rest = line.substr(kUnhandled.size());
        const auto space = rest.find(' ');
        const auto colon = rest.find(": ");
        record({{"event", "unhandled"},
                {"ip", rest.substr(0, space)},
                {"message", colon == std::string::npos ? "" : rest.substr(colon + 2)}});
    }
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
