// A successful "camera.setOptions" is reported under the exported name the
// host called; a mode change also refreshes what depends on the mode.
#include "responses/function_names.h"
#include "responses/json_read.h"
#include "responses/parsers.h"

namespace responses {
namespace {

bool mode_has_rois(int mode) {
    return mode == 2 || mode == 3;
}

void refresh_after_mode_change(ResponseSink& sink) {
    int mode = 0;
    sink.update([&mode](CAM_PARAM& camera) { mode = camera.mode; });
    if (mode_has_rois(mode)) sink.queue("GetROI");
    sink.queue("GetOptionsAll");
}

}  // namespace

ReadOutcome read_set_options_ack(ResponseSink& sink, const JsonAnswer& answer) {
    const std::string& func = read_string(answer.doc.at("func"));
    if (func == "SetImrxMode") refresh_after_mode_change(sink);
    sink.result(acknowledged_function_name(func), true, "");
    return {};
}

}  // namespace responses
