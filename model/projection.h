// Perspective geometry of ROI regions: the source height that a rectilinear
// region needs so that it keeps the output picture's aspect ratio.
#pragma once

// Degrees to radians in single precision. 360 and 180 return the correctly
// rounded constants; every other angle is (pi * deg) / 180, product first.
float _deg_to_rad(float deg);

// Vertical source span, in source pixels, of a rectilinear view that spans
// `srcW` source pixels horizontally and has the aspect ratio dstWidth x
// dstHeight. The result is always even. Returns `fallback` when the geometry
// is degenerate (zero srcWidth, dstWidth or vertical field of view) or the
// value is not finite or does not fit an int.
int _calc_src_size_perspective(int srcW, int dstWidth, int dstHeight, int srcWidth, int srcHeight,
                               float fovH, float fovV, int fallback);

// As above with 0 as the fallback.
int _calc_src_size_perspective(int srcW, int dstWidth, int dstHeight, int srcWidth, int srcHeight,
                               float fovH, float fovV);
