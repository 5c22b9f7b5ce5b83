// Turns a camera's HTTP answer into the text and status handed to the handler.
#pragma once

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

// (text, status): status 0 for an answer, 1 for a failure document.
std::pair<std::string, int> shape_answer(const Request& request, const HttpResult& result,
                                         CameraLink& link);

}  // namespace oscclient
