// The JSON form of a camera's ROI layout, reported to the host on its own
// ("GetROI") and inside the parameter document.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "model/cam_param.h"

namespace model {

// The "_roi" object of `record`'s layout. At most VIDEO_LAYOUT_MAX_ROI
// entries are reported and "roiNum" is that reported count. In mode 3 the
// "srcH" of perspective entries is recomputed from the layout's output size.
nlohmann::json roi_object(const CAM_PARAM& record);

// {"_roi": roi_object(record)}, serialised compactly.
std::string roi_document(const CAM_PARAM& record);

}  // namespace model
