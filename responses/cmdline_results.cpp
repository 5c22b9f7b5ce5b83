// Results of "camera._cmdLine" requests: the camera's command output as text
// lines ("response") or an options object, per vendor function.
#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "responses/encoder_settings.h"
#include "responses/json_read.h"
#include "responses/module_version.h"
#include "responses/parsers.h"
#include "responses/string_split.h"

namespace responses {
namespace {

// Generations up to this one report their encoder settings through the
// preview query; later ones go on to the AST1230 version query.
constexpr int kLastGenerationWithPreviewQuery = 8;
// Below this generation the encoder settings complete the parameter set.
constexpr int kFirstGenerationWithoutPreviewReport = 8;

const std::string& response_line(const json& results, std::size_t index) {
    return read_string(results.at("response").at(index));
}

void read_process_list(ResponseSink& sink, const json& results, const std::string& text) {
    const json& state = results.at("options").at("ProcessList").at("state");
    store_process_state(sink, read_string(state), text);
}

void ignore_result(ResponseSink&, const json&, const std::string&) {}

void read_gyro_and_accel(ResponseSink& sink, const json& results, const std::string&) {
    const json* response = find_member(results, "response");
    if (response == nullptr) return;
    if (response->is_array() && !response->empty()) {
        sink.result("GetGyroAndAccel", true,
                    read_string(response->at(0)) + ";" + read_string(response->at(1)));
    } else {
        sink.result("GetGyroAndAccel", false, "No data.");
    }
}

void read_ethernet_settings(ResponseSink& sink, const json& results, const std::string&) {
    sink.update([&results](CAM_PARAM& camera) {
        camera.is_static_ip = response_line(results, 0) == "static";
        camera.static_ip = response_line(results, 1);
        camera.mask = response_line(results, 2);
        camera.gateway = response_line(results, 3);
    });
}

void read_syslog_settings(ResponseSink& sink, const json& results, const std::string&) {
    sink.update([&results](CAM_PARAM& camera) {
        camera.enable_log_server = response_line(results, 0) == "1";
        const std::string& port = response_line(results, 1);
        if (!port.empty()) camera.log_server_port = decimal_int(port);
        camera.log_server_ip = response_line(results, 2);
    });
}

void read_auth_enable(ResponseSink& sink, const json& results, const std::string&) {
    const bool enabled = response_line(results, 0) == "1";
    sink.update([enabled](CAM_PARAM& camera) { camera.auth_enabled = enabled; });
}

void read_qp_preview(ResponseSink& sink, const json& results, const std::string&) {
    std::vector<std::string> fields;
    string_split(response_line(results, 0), fields, ' ');
    const RateControl rate = rate_control_from_fields(fields);
    int generation = 0;
    sink.update([&](CAM_PARAM& camera) {
        camera.bitrate = rate.bitrate;
        camera.gop = rate.gop;
        camera.got_param = true;
        generation = version_digits(camera.ast1220_ver);
    });
    if (generation < kFirstGenerationWithoutPreviewReport) sink.notify_parameters();
}

void read_fw_ver_1220(ResponseSink& sink, const json& results, const std::string&) {
    const std::string& version = response_line(results, 0);
    int generation = 0;
    sink.update([&](CAM_PARAM& camera) {
        camera.ast1220_ver = version;
        generation = generation_number(camera.ast1220_ver);
    });
    // The queued name differs in case from the answer's "GetQpPreview".
    sink.queue(generation <= kLastGenerationWithPreviewQuery ? "GetQPpreview"
                                                             : "GetFwVer1220_1230");
}

void read_cpu_usage(ResponseSink& sink, const json& results, const std::string&) {
    const float cpu_usage = read_float(results.at("options").at("CpuUsage").at("CPU used"));
    sink.update([cpu_usage](CAM_PARAM& camera) { camera.cpu_usage = cpu_usage; });
}

// The last of the single health queries, so the host hears the refreshed set.
void read_memory_usage(ResponseSink& sink, const json& results, const std::string&) {
    const json* options = find_member(results, "options");
    if (options == nullptr) return;
    const json* usage = find_member(*options, "MemoryUsage");
    if (usage == nullptr || !usage->contains("Total") || !usage->contains("used")) return;
    const float memory_usage = memory_percent(*usage);
    sink.update([memory_usage](CAM_PARAM& camera) { camera.memory_usage = memory_usage; });
    report_health(sink);
}

// Only the OEM version request's answer is kept; other command lines are the
// host's own business.
void read_send_cmd_line(ResponseSink& sink, const json& results, const std::string&) {
    if (!results.contains("response")) return;
    sink.update([&results](CAM_PARAM& camera) {
        if (!camera.oem_version_pending) return;
        camera.oem_fw_version = response_line(results, 0);
        camera.oem_version_pending = false;
    });
}

struct CmdlineFunction {
    std::string_view func;
    void (*read)(ResponseSink&, const json& results, const std::string& text);
};

constexpr CmdlineFunction kCmdlineFunctions[] = {
    {"GetProcessList", read_process_list},
    {"GetAst1230UsbList", ignore_result},
    {"GetGyroAndAccel", read_gyro_and_accel},
    {"GetEthernetSettings", read_ethernet_settings},
    {"GetSyslogSettings", read_syslog_settings},
    {"GetAuthEnable", read_auth_enable},
    {"GetQpPreview", read_qp_preview},
    {"GetFwVer1220", read_fw_ver_1220},
    {"GetCpuUsage", read_cpu_usage},
    {"GetMemoryUsage", read_memory_usage},
    {"SendCmdLine", read_send_cmd_line},
};

}  // namespace

ReadOutcome read_cmdline_result(ResponseSink& sink, const JsonAnswer& answer) {
    const json* results = find_member(answer.doc, "results");
    if (results == nullptr || !results->is_object()) return {};
    const std::string& func = read_string(answer.doc.at("func"));
    const auto function =
        std::find_if(std::begin(kCmdlineFunctions), std::end(kCmdlineFunctions),
                     [&func](const CmdlineFunction& f) { return f.func == func; });
    if (function != std::end(kCmdlineFunctions)) function->read(sink, *results, answer.text);
    return {};
}

}  // namespace responses
