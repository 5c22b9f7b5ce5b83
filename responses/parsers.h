// The answer families behind parse_answer. Each reader gets the parsed
// document and the text it came from (some failures log the whole text).
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "responses/response_sink.h"

namespace responses {

struct JsonAnswer {
    const nlohmann::json& doc;
    const std::string& text;
};

// Whether the answer completes the camera's parameter set; only then does
// the common tail hand the host a parameter document.
struct ReadOutcome {
    bool parameters_complete = false;
};

using AnswerReader = ReadOutcome (*)(ResponseSink&, const JsonAnswer&);

// Firmware-update texts and upload confirmations, recognised before any JSON
// parsing. Returns false when the text is none of them.
bool read_firmware_text(ResponseSink& sink, const std::string& text);

// Reports an "_updateStatus" object as "target : description" with its
// progress; store_progress also keeps the progress in the record.
void report_update_status(ResponseSink& sink, const nlohmann::json& status, bool store_progress);

// Identity members carried by any document. Returns true for a device
// information reply, which is not dispatched further.
bool read_device_information(ResponseSink& sink, const nlohmann::json& doc);

// Shared by the state reply and the single health queries that complete it.
void store_mode(CAM_PARAM& camera, int mode);
void store_process_state(ResponseSink& sink, const std::string& state, const std::string& text);
// Percentage of "used" in "Total", computed in float.
float memory_percent(const nlohmann::json& memory_usage);
void report_health(ResponseSink& sink);

ReadOutcome read_reboot_reply(ResponseSink& sink, const JsonAnswer& answer);
ReadOutcome read_live_preview_reply(ResponseSink& sink, const JsonAnswer& answer);
ReadOutcome read_state_reply(ResponseSink& sink, const JsonAnswer& answer);
ReadOutcome read_capture_reply(ResponseSink& sink, const JsonAnswer& answer);
ReadOutcome read_cmdline_result(ResponseSink& sink, const JsonAnswer& answer);
ReadOutcome read_set_options_ack(ResponseSink& sink, const JsonAnswer& answer);
ReadOutcome read_options_reply(ResponseSink& sink, const JsonAnswer& answer);

}  // namespace responses
