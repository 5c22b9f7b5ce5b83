// The handler's callbacks as typed events, plus what its log lines tell about
// the requests behind them. Every event names its camera by the IP text the
// handler keys it by (empty for the few that concern no camera).
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "camera_address.h"

namespace oschost {

// Why a camera-side request failed, from the client library's failure
// document the handler logs just before it reports the failure.
struct RequestFailure {
    std::string request;  // the camera-side function ("GetEthernetSettings"), else its OSC name
    std::string reason;   // the document's "reason": what the handler reports and acts on
    std::string cause;    // the client's "cause", when it says more (empty otherwise)

    // The request never got an answer the camera meant (refused, timed out,
    // HTTP 5xx, dropped): the handler drops the camera's queue.
    bool no_answer() const;
};

// After each discovery result: every camera the handler knows.
struct DeviceList {
    std::vector<CameraAddress> cameras;
};

// The camera's parameter document, compact JSON as the handler wrote it.
struct ParamsReport {
    std::string ip;
    std::string document;
};

// The outcome of an exported operation, under its name ("SetBrightness",
// "GetROI"...). The name is empty for requests the handler reports under no
// operation; `failure` then names the request.
struct CommandResult {
    std::string ip;
    std::string command;
    bool ok = false;
    std::string message;
    std::optional<RequestFailure> failure;  // for failures, when the handler logged one

    // Failed without an answer the camera meant: the handler drops its queue.
    bool no_answer() const;
};

struct HealthReport {
    std::string ip;
    bool process_ok = false;
    float cpu_usage = 0;     // percent
    float memory_usage = 0;  // percent
    bool in_preview = false;
    int mode = 0;
};

// An upload of a firmware update was confirmed: the image, or a script.
struct FirmwareUpload {
    std::string ip;
    bool image = false;
};

struct FirmwareProgress {
    std::string ip;
    std::string text;
    int percent = 0;
    bool finished = false;  // the camera's update stream has ended
};

struct RebootState {
    std::string ip;
    bool accepted = false;
    std::optional<RequestFailure> failure;
};

// A worker sent one of the camera's queued commands ("SetDhcp"...).
struct RequestSent {
    std::string ip;
    std::string command;
    int port = 0;
};

// The camera answered the request in flight, and the handler took the answer
// as a result (what became of it follows as callbacks, if any).
struct RequestAnswered {
    std::string ip;
    std::string request;  // the queued command it answers, when known
};

// The handler could not use an answer of the camera; no callback follows.
struct AnswerUnusable {
    std::string ip;
    std::string request;  // the queued command it answers, when known
    std::string what;     // the handler's reason, possibly empty
};

// Every log line, with the camera it concerns when its form names one.
struct LogLine {
    std::string ip;
    std::string text;
};

using Event = std::variant<DeviceList, ParamsReport, CommandResult, HealthReport, FirmwareUpload,
                           FirmwareProgress, RebootState, RequestSent, RequestAnswered,
                           AnswerUnusable, LogLine>;

// The camera an event concerns; empty for a device list and unattributed log lines.
const std::string& camera_of(const Event& event);

// A failure of the camera, as a waiting host sees it: a failed result, a
// refused reboot or an answer the handler could not use.
bool is_failure(const Event& event);

}  // namespace oschost
