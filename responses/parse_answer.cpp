#include "responses/parse_answer.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "responses/json_read.h"
#include "responses/parsers.h"

namespace responses {
namespace {

struct NamedReader {
    std::string_view name;
    AnswerReader read;
};

// Keyed by the OSC command the answer belongs to.
constexpr NamedReader kReadersByName[] = {
    {"reboot", read_reboot_reply},
    {"camera._getLivePreview", read_live_preview_reply},
    {"state", read_state_reply},
    {"camera.startCapture", read_capture_reply},
    {"camera._cmdLine", read_cmdline_result},
    {"camera.setOptions", read_set_options_ack},
    {"camera.getOptions", read_options_reply},
};

ReadOutcome read_json_answer(ResponseSink& sink, const std::string& text) {
    const json doc = json::parse(text);
    if (read_device_information(sink, doc)) return {};
    const std::string* name = find_string(doc, "name");
    if (name == nullptr) return {};
    const auto reader = std::find_if(std::begin(kReadersByName), std::end(kReadersByName),
                                     [name](const NamedReader& r) { return r.name == *name; });
    if (reader == std::end(kReadersByName)) return {};
    return reader->read(sink, JsonAnswer{doc, text});
}

// A pending version request is answered once parameters are known, and it
// consumes got_param so the next complete reply sends a fresh document.
void finish_answer(ResponseSink& sink, const ReadOutcome& outcome) {
    bool report_versions = false;
    bool notify_parameters = false;
    std::string ast1220_ver;
    std::string ast1230_ver;
    sink.update([&](CAM_PARAM& camera) {
        if (camera.version_query_pending && camera.got_param) {
            camera.version_query_pending = false;
            camera.got_param = false;
            ast1220_ver = camera.ast1220_ver;
            ast1230_ver = camera.ast1230_ver;
            report_versions = true;
        } else {
            notify_parameters = camera.got_param && outcome.parameters_complete;
        }
    });
    if (report_versions) {
        const json versions = {{"ast1220_ver", ast1220_ver}, {"ast1230_ver", ast1230_ver}};
        sink.result("GetIMRXVersion", true, versions.dump());
    } else if (notify_parameters) {
        sink.notify_parameters();
    }
}

}  // namespace

void parse_answer(ResponseSink& sink, const std::string& text) {
    ReadOutcome outcome;
    if (!read_firmware_text(sink, text)) outcome = read_json_answer(sink, text);
    finish_answer(sink, outcome);
}

}  // namespace responses
