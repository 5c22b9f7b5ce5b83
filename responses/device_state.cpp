// Answers about the camera's running state: reboot, live preview and the
// state/health reply whose missing parts are fetched by single queries.

#include "responses/json_read.h"
#include "responses/parsers.h"

namespace responses {
namespace {

constexpr int kModeWithoutRois = 1;

void store_imrx_mode(ResponseSink& sink, const json& value, const JsonAnswer&) {
    const int mode = read_int(value);
    sink.update([mode](CAM_PARAM& camera) { store_mode(camera, mode); });
}

void store_preview_state(ResponseSink& sink, const json& value, const JsonAnswer&) {
    const bool in_preview = read_string(value.at(0)) == "inPreview";
    sink.update([in_preview](CAM_PARAM& camera) { camera.in_preview = in_preview; });
}

void store_process_list(ResponseSink& sink, const json& value, const JsonAnswer& answer) {
    if (const json* state = find_member(value, "state")) {
        store_process_state(sink, read_string(*state), answer.text);
    }
}

void store_cpu_usage(ResponseSink& sink, const json& value, const JsonAnswer&) {
    if (const json* used = find_member(value, "CPU used")) {
        const float cpu_usage = read_float(*used);
        sink.update([cpu_usage](CAM_PARAM& camera) { camera.cpu_usage = cpu_usage; });
    }
}

void store_memory_usage(ResponseSink& sink, const json& value, const JsonAnswer&) {
    if (value.contains("Total") && value.contains("used")) {
        const float memory_usage = memory_percent(value);
        sink.update([memory_usage](CAM_PARAM& camera) { camera.memory_usage = memory_usage; });
    }
}

struct HealthGroup {
    const char* key;
    const char* fetch_command;  // nullptr: there is no single query for it
    const char* missing_log;
    void (*store)(ResponseSink&, const json& value, const JsonAnswer& answer);
};

constexpr HealthGroup kHealthGroups[] = {
    {"imrxMode", "GetImrxMode", nullptr, store_imrx_mode},
    {"mode", nullptr, "get camera state api without mode parameter!!!", store_preview_state},
    {"ProcessList", "GetProcessList", nullptr, store_process_list},
    {"CpuUsage", "GetCpuUsage", nullptr, store_cpu_usage},
    {"MemoryUsage", "GetMemoryUsage", nullptr, store_memory_usage},
};

}  // namespace

void store_mode(CAM_PARAM& camera, int mode) {
    camera.mode = mode;
    if (mode == kModeWithoutRois) camera.roi_layout.roiNum = 0;
}

void store_process_state(ResponseSink& sink, const std::string& state, const std::string& text) {
    const bool process_ok = state == "OK";
    sink.update([process_ok](CAM_PARAM& camera) { camera.process_ok = process_ok; });
    if (!process_ok) sink.log("GetProcessList failed: " + text);
}

float memory_percent(const json& memory_usage) {
    const float used = read_float(memory_usage.at("used"));
    const float total = read_float(memory_usage.at("Total"));
    return used / total * 100.0f;
}

void report_health(ResponseSink& sink) {
    bool process_ok = false;
    float cpu_usage = 0.0f;
    float memory_usage = 0.0f;
    bool in_preview = false;
    int mode = 0;
    sink.update([&](CAM_PARAM& camera) {
        process_ok = camera.process_ok;
        cpu_usage = camera.cpu_usage;
        memory_usage = camera.memory_usage;
        in_preview = camera.in_preview;
        mode = camera.mode;
    });
    sink.health(process_ok, cpu_usage, memory_usage, in_preview, mode);
}

ReadOutcome read_reboot_reply(ResponseSink& sink, const JsonAnswer& answer) {
    if (read_string(answer.doc.at("state")) == "done") sink.reboot_state(true);
    return {};
}

ReadOutcome read_live_preview_reply(ResponseSink& sink, const JsonAnswer& answer) {
    if (!sink.has_result_callback()) return {};
    const bool started = read_string(answer.doc.at("state")) == "done";
    sink.result("StartStreaming", started, started ? "" : "Failed.");
    return {};
}

ReadOutcome read_state_reply(ResponseSink& sink, const JsonAnswer& answer) {
    const json* state = find_member(answer.doc, "state");
    if (state == nullptr || !state->is_object()) return {};
    bool complete = true;
    for (const auto& group : kHealthGroups) {
        if (const json* value = find_member(*state, group.key)) {
            group.store(sink, *value, answer);
            continue;
        }
        complete = false;
        if (group.fetch_command != nullptr) sink.queue(group.fetch_command);
        if (group.missing_log != nullptr) sink.log(group.missing_log);
    }
    if (complete) report_health(sink);
    return {};
}

}  // namespace responses
