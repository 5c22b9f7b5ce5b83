// The camera parameter document handed to the host: everything the record
// knows about one camera, as one JSON object.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "model/cam_param.h"

namespace model {

// The document built from `snapshot`, a copy of the camera's record, as
// compact JSON with its keys in byte order. `got_param` is passed separately
// because it is read from the live record, not from the copy. Throws
// nlohmann::json::type_error when a text field holds invalid UTF-8.
std::string parameter_document(const CAM_PARAM& snapshot, bool got_param);

}  // namespace model
