// Layouts cut from a 3840x1920 source picture, the size every camera here has.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "IVeskOSCHandlerInst.h"

inline video_layout_format source_layout(std::uint16_t dst_width, std::uint16_t dst_height,
                                         std::initializer_list<video_roi_param> regions) {
    video_layout_format layout{};
    layout.srcWidth = 3840;
    layout.srcHeight = 1920;
    layout.dstWidth = dst_width;
    layout.dstHeight = dst_height;
    for (const video_roi_param& region : regions) layout.roiParam[layout.roiNum++] = region;
    return layout;
}
