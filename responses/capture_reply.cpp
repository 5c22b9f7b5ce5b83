// A screenshot is a capture request followed by status polls, one per answer,
// until the camera reports the picture done.
#include <string>
#include <utility>

#include "responses/json_read.h"
#include "responses/parsers.h"

namespace responses {
namespace {

void start_polling(ResponseSink& sink, const json& doc) {
    // The capture answer carries the id as a number, the polls as a string.
    std::string id = std::to_string(read_int(doc.at("id")));
    sink.queue("GetCaptureStatus", [&id](CAM_PARAM& camera) { camera.capture_id = std::move(id); });
}

void read_capture_status(ResponseSink& sink, const json& doc) {
    const bool done = read_string(doc.at("state")) == "done";
    const json* id = find_member(doc, "id");
    const std::string* id_text = id != nullptr ? &read_string(*id) : nullptr;
    std::string capture_id;
    sink.update([&](CAM_PARAM& camera) {
        if (id_text != nullptr) camera.capture_id = *id_text;
        capture_id = camera.capture_id;
    });
    if (!done) {
        sink.queue("GetCaptureStatus");
        return;
    }
    sink.result("TakeScreenShot", true,
                "http://" + sink.ip() + "/tmp/capture" + capture_id + ".jpeg");
}

}  // namespace

ReadOutcome read_capture_reply(ResponseSink& sink, const JsonAnswer& answer) {
    if (read_string(answer.doc.at("func")) == "GetCaptureStatus") {
        read_capture_status(sink, answer.doc);
    } else {
        start_polling(sink, answer.doc);
    }
    return {};
}

}  // namespace responses
