#include "model/projection.h"

#include <cmath>

namespace {

constexpr float kPi = 3.1415927f;
constexpr float kTwoPi = 6.2831855f;

// Truncation toward zero is defined only for finite values inside int range.
bool fits_int(float value) {
    return std::isfinite(value) && value >= -2147483648.0f && value < 2147483648.0f;
}

}  // namespace

float _deg_to_rad(float deg) {
    if (deg == 360.0f) return kTwoPi;
    if (deg == 180.0f) return kPi;
    return (kPi * deg) / 180.0f;
}

int _calc_src_size_perspective(int srcW, int dstWidth, int dstHeight, int srcWidth, int srcHeight,
                               float fovH, float fovV, int fallback) {
    const float fov_v_rad = _deg_to_rad(fovV);
    if (srcWidth == 0 || dstWidth == 0 || fov_v_rad == 0.0f) return fallback;

    // Single precision throughout and one operation per statement, so that no
    // compiler fuses or widens a step: each step's rounding shows in the result.
    const float doubled_height = 2.0f * static_cast<float>(srcHeight);
    const float span_angle = static_cast<float>(srcW) * _deg_to_rad(fovH);
    const float half_angle_h = span_angle / (2.0f * static_cast<float>(srcWidth));
    const float scaled_tan = std::tan(half_angle_h) * static_cast<float>(dstHeight);
    const float tan_half_v = scaled_tan / static_cast<float>(dstWidth);
    const float vertical = doubled_height * std::atan(tan_half_v);
    const float height = vertical / fov_v_rad;
    const float rounded = 0.5f + height;

    if (!fits_int(rounded)) return fallback;
    return static_cast<int>(rounded) & ~1;
}

int _calc_src_size_perspective(int srcW, int dstWidth, int dstHeight, int srcWidth, int srcHeight,
                               float fovH, float fovV) {
    return _calc_src_size_perspective(srcW, dstWidth, dstHeight, srcWidth, srcHeight, fovH, fovV,
                                      0);
}
