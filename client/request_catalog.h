// The request behind every client operation (see docs/wire-protocol.md).
#pragma once

#include <optional>
#include <string>

#include "IVeskOSC_Tendra.h"
#include "client/request.h"

namespace oscclient {

// Operations without arguments besides ip and port, by operation name
// ("GetHdr", "Reboot", ...). Null for a name that is not one of them.
const Request* fixed_request(const std::string& operation);

// Operations that set one option to a value, by operation name
// ("SetBrightness", ...). Empty for a name that is not one of them.
std::optional<Request> value_request(const std::string& operation, const nlohmann::json& value);

Request set_options(const std::string& func, nlohmann::json options);
Request command_line(const std::string& func, nlohmann::json extra = nlohmann::json::object());

nlohmann::json layout_to_json(const video_layout_format& layout);

}  // namespace oscclient
