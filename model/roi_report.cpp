#include "model/roi_report.h"

#include <algorithm>
#include <utility>

#include "model/projection.h"

namespace model {

namespace {

constexpr int kPerspectiveMode = 3;
constexpr unsigned kPerspectiveProjection = 1;

// The layout is byte-packed: fields are copied out as values, never bound by
// reference.
nlohmann::json source_height(const CAM_PARAM& record, const video_roi_param& entry) {
    const video_layout_format& layout = record.roi_layout;
    const unsigned stored = entry.srcH;
    if (record.mode != kPerspectiveMode || entry.projection != kPerspectiveProjection) {
        return stored;
    }
    // The header's output size, not the entry's own, sets the aspect ratio.
    return _calc_src_size_perspective(
        entry.srcW, layout.dstWidth, layout.dstHeight, layout.srcWidth, layout.srcHeight,
        static_cast<float>(record.max_fovH), static_cast<float>(record.max_fovV),
        static_cast<int>(stored));
}

nlohmann::json roi_entry(const CAM_PARAM& record, const video_roi_param& entry) {
    return {
        {"srcX", static_cast<unsigned>(entry.srcX)},
        {"srcY", static_cast<unsigned>(entry.srcY)},
        {"srcW", static_cast<unsigned>(entry.srcW)},
        {"srcH", source_height(record, entry)},
        {"dstX", static_cast<unsigned>(entry.dstX)},
        {"dstY", static_cast<unsigned>(entry.dstY)},
        {"dstW", static_cast<unsigned>(entry.dstW)},
        {"dstH", static_cast<unsigned>(entry.dstH)},
        {"projection", static_cast<unsigned>(entry.projection)},
    };
}

}  // namespace

nlohmann::json roi_object(const CAM_PARAM& record) {
    const video_layout_format& layout = record.roi_layout;
    // roiNum arrives from the host and the camera; the record holds only 15.
    const unsigned count = std::min<unsigned>(layout.roiNum, VIDEO_LAYOUT_MAX_ROI);

    nlohmann::json entries = nlohmann::json::array();
    for (unsigned i = 0; i < count; ++i) entries.push_back(roi_entry(record, layout.roiParam[i]));

    return {
        {"srcWidth", static_cast<unsigned>(layout.srcWidth)},
        {"srcHeight", static_cast<unsigned>(layout.srcHeight)},
        {"dstWidth", static_cast<unsigned>(layout.dstWidth)},
        {"dstHeight", static_cast<unsigned>(layout.dstHeight)},
        {"queuePolicy", 0},
        {"roiNum", count},
        {"roiParam", std::move(entries)},
    };
}

std::string roi_document(const CAM_PARAM& record) {
    return nlohmann::json{{"_roi", roi_object(record)}}.dump();
}

}  // namespace model
