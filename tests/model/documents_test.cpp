// The two documents the host receives and the perspective geometry inside the
// region layout: exact heights, fallbacks, and where the geometry applies.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "model/parameter_report.h"
#include "model/projection.h"
#include "model/roi_report.h"

namespace {

using model::parameter_document;
using model::roi_object;

// A 360 x 180 degree camera with one region of srcW 960 (stored srcH 500)
// into a 1920 x 1080 picture.
CAM_PARAM one_region(int mode, std::uint8_t projection) {
    CAM_PARAM r;
    r.mode = mode;
    r.max_fovH = 360;
    r.max_fovV = 180;
    r.roi_layout = {3840, 1920, 1920, 1080, 1, {0, 0}, {}};
    r.roi_layout.roiParam[0] = {0, 100, 960, 500, 0, 0, 960, 540, projection};
    return r;
}

// The layout is in the document in modes 2 and 3 only; only perspective
// regions in mode 3 report the height the geometry gives.
TEST(ParameterDocument, CarriesTheLayoutInModesTwoAndThreeWithPerspectiveHeightsInThree) {
    for (int mode = 0; mode <= 4; ++mode) {
        for (std::uint8_t projection : {0, 1}) {
            const auto document =
                nlohmann::json::parse(parameter_document(one_region(mode, projection), true));
            const bool regions = mode == 2 || mode == 3;
            ASSERT_EQ(document.contains("_roi"), regions) << "mode " << mode;
            if (regions) {
                EXPECT_EQ(document["_roi"]["roiParam"][0]["srcH"],
                          mode == 3 && projection == 1 ? 626 : 500)
                    << "mode " << mode << ", projection " << int{projection};
            }
        }
    }
}

struct Geometry {
    const char* name;
    int srcW, dstWidth, dstHeight, srcWidth, srcHeight;
    float fovH, fovV;
    int height;
};

// Hand-computed in single precision, one rounding per step.
constexpr int kFallback = 1234;  // what the caller passes for degenerate input
const Geometry kGeometries[] = {
    {"QuarterOf360Into1080p", 960, 1920, 1080, 3840, 1920, 360, 180, 626},
    {"SixthOf360Into720p", 640, 1280, 720, 3840, 1920, 360, 180, 384},
    {"PartialFov", 1000, 1920, 1080, 4000, 2000, 200, 100, 588},
    // 577.1 rounds to the odd 577; the low bit is cleared.
    {"OddRoundingCleared", 901, 1920, 1080, 3840, 1920, 360, 180, 576},
    // Half of a 360-degree source lands on the tangent's pole.
    {"PoleIsNegative", 1920, 1920, 1080, 3840, 1920, 360, 180, -1920},
    {"ZeroSpan", 0, 1920, 1080, 3840, 1920, 360, 180, 0},
    {"ZeroSourceWidth", 960, 1920, 1080, 0, 1920, 360, 180, kFallback},
    {"ZeroOutputWidth", 960, 0, 1080, 3840, 1920, 360, 180, kFallback},
    {"ZeroVerticalFov", 960, 1920, 1080, 3840, 1920, 360, 0, kFallback},
    {"NanHorizontalFov", 960, 1920, 1080, 3840, 1920, std::numeric_limits<float>::quiet_NaN(), 180,
     kFallback},
    {"BeyondIntRange", 960, 1920, 1080, 3840, 1000000000, 360, 1, kFallback},
};

TEST(PerspectiveGeometry, GivesTheWorkedHeightsOrTheFallback) {
    for (const Geometry& g : kGeometries) {
        EXPECT_EQ(_calc_src_size_perspective(g.srcW, g.dstWidth, g.dstHeight, g.srcWidth,
                                             g.srcHeight, g.fovH, g.fovV, kFallback),
                  g.height)
            << g.name;
    }
    // The seven-argument form falls back to zero.
    EXPECT_EQ(_calc_src_size_perspective(960, 1920, 1080, 0, 1920, 360, 180), 0);
}

TEST(RoiDocument, ReportsAtMostTheFifteenRegionsTheLayoutHolds) {
    CAM_PARAM r = one_region(3, 1);
    r.roi_layout.roiNum = 99;
    const nlohmann::json roi = roi_object(r);
    EXPECT_EQ(roi["roiNum"], 15);
    EXPECT_EQ(roi["roiParam"].size(), 15u);
    EXPECT_EQ(model::roi_document(r), (nlohmann::json{{"_roi", roi}}.dump()));
}

// Written as text without the JSON library: the document parses, and holds
// the record's texts and lists exactly, whatever they contain.
TEST(ParameterDocument, IsJsonHoldingTheRecordExactly) {
    CAM_PARAM odd = one_region(3, 1);
    odd.camera_name = "tab\tnew\nline \x01 \"quoted\" back\\slash \xc3\xa9";
    odd.support_resolution = {{1, 2}, {3840, 1920}, {640, 480}};
    odd.support_types = {{"h264"}, {"h264", "h265"}};  // shorter: ends the array
    odd.support_fps = {{1, 30}, {5, 60}, {2, 15}};
    odd.brightness_current = -2147483647 - 1;
    odd.h_start_deg = -0.0f;
    odd.v_start_deg = 1e-7f;
    const auto doc = nlohmann::json::parse(parameter_document(odd, true));
    EXPECT_EQ(doc["camera_name"], odd.camera_name);
    EXPECT_EQ(doc["brightness_current"], odd.brightness_current);
    EXPECT_EQ(doc["support_resolution"], nlohmann::json::parse(R"([
        {"fpsMax":30,"fpsMin":1,"height":2,"type":"h264","width":1},
        {"fpsMax":60,"fpsMin":5,"height":1920,"type":["h264","h265"],"width":3840}])"));
    EXPECT_EQ(doc.dump(), parameter_document(odd, true));  // compact, keys in byte order
}

}  // namespace
