// Reading of one successful camera answer: classification of firmware texts
// and upload confirmations, dispatch of JSON documents by family, and the
// common tail (version report, parameter document).
#pragma once

#include <string>

#include "responses/response_sink.h"

namespace responses {

// May throw on malformed or wrongly typed answers; what was stored before the
// error stays stored. The caller logs and carries on.
void parse_answer(ResponseSink& sink, const std::string& text);

}  // namespace responses
