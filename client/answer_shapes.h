// Turns a camera's HTTP answer into the text and status handed to the handler.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "IVeskOSCTexts.h"
#include "client/camera_link.h"
#include "client/request.h"
#include "client/transfer.h"

namespace oscclient {

// {"cause": ..., "func": ..., "name": ..., "reason": ...}: "reason" is what
// the handler acts on, "cause" (left out when empty) says why, for its log.
std::string failure_document(const std::string& name, const std::string& func,
                             const std::string& reason, const std::string& cause = "");

using osc_texts::kRequestException;
inline const char* const kAuthenticationFailed = "Authentication failed";
inline const char* const kAuthenticationCause =
    "HTTP 401: the camera refused the user name or password (OSC_CAMERA_USER, "
    "OSC_CAMERA_PASSWORD)";

// How the handler hears of an answer with an HTTP error status or an OSC
// error document. HTTP 5xx counts as no answer: "Request exception", with
// the status and the camera's words as the cause. Otherwise the reason is
// the camera's message, else its error code, else the HTTP status.
struct Refusal {
    std::string reason;
    std::string cause;
};
// Nothing for an answer that is neither.
std::optional<Refusal> camera_refusal(const HttpResult& result);

// (text, status): status 0 for an answer, 1 for a failure document.
std::pair<std::string, int> shape_answer(const Request& request, const HttpResult& result,
                                         CameraLink& link);

}  // namespace oscclient
