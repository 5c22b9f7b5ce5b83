// Turns a camera's HTTP answer into the text and status handed to the handler.
#pragma once

#include <string>
#include <utility>

#include "client/camera_link.h"
#include "client/http_session.h"
#include "client/request.h"

namespace oscclient {

// {"func": ..., "name": ..., "reason": ...}
std::string failure_document(const std::string& name, const std::string& func,
                             const std::string& reason);

inline const char* const kRequestException = "Request exception";

// (text, status): status 0 for an answer, 1 for a failure document.
std::pair<std::string, int> shape_answer(const Request& request, const HttpResult& result,
                                         CameraLink& link);

}  // namespace oscclient
