#include "model/roi_report.h"

#include <cstdint>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "model/sample_records.h"

namespace {

using model::roi_document;
using model::roi_object;
using model_test::filled_record;
using model_test::roi;

TEST(RoiDocument, DefaultRecordReportsAnEmptyLayout) {
    EXPECT_EQ(roi_document(CAM_PARAM{}),
              R"({"_roi":{"dstHeight":0,"dstWidth":0,"queuePolicy":0,"roiNum":0,"roiParam":[],)"
              R"("srcHeight":0,"srcWidth":0}})");
}

// The layout is reported in every mode; only mode 3 recomputes the height of
// the perspective region (626 from the 1920 x 1080 picture, not 1032 from the
// region's own 960 x 1080 box). The plain region keeps its stored 960.
struct ModeCase {
    int mode;
    const char* first_region_height;
};

void PrintTo(const ModeCase& c, std::ostream* os) {
    *os << "mode " << c.mode;
}

class RoiDocumentByMode : public ::testing::TestWithParam<ModeCase> {};

TEST_P(RoiDocumentByMode, WritesEveryRegion) {
    const std::string expected =
        std::string(R"({"_roi":{"dstHeight":1080,"dstWidth":1920,"queuePolicy":0,"roiNum":2,)") +
        R"("roiParam":[{"dstH":1080,"dstW":960,"dstX":0,"dstY":0,"projection":1,"srcH":)" +
        GetParam().first_region_height +
        R"(,"srcW":960,"srcX":0,"srcY":0},)"
        R"({"dstH":540,"dstW":960,"dstX":960,"dstY":0,"projection":0,"srcH":960,"srcW":1920,)"
        R"("srcX":960,"srcY":100}],"srcHeight":1920,"srcWidth":3840}})";
    EXPECT_EQ(roi_document(filled_record(GetParam().mode)), expected);
}

INSTANTIATE_TEST_SUITE_P(Modes, RoiDocumentByMode,
                         ::testing::Values(ModeCase{0, "500"}, ModeCase{1, "500"},
                                           ModeCase{2, "500"}, ModeCase{3, "626"},
                                           ModeCase{4, "500"}));

TEST(RoiObject, RegionOnThePoleReportsTheNegativeHeight) {
    CAM_PARAM record = filled_record(3);
    record.roi_layout.roiParam[0] = roi(0, 0, 1920, 700, 0, 0, 1920, 1080, 1);
    EXPECT_EQ(roi_object(record)["roiParam"][0]["srcH"], -1920);
}

// Without a usable geometry the stored height is the best answer there is.
struct DegenerateCase {
    const char* name;
    void (*spoil)(CAM_PARAM&);
};

void PrintTo(const DegenerateCase& c, std::ostream* os) {
    *os << c.name;
}

class RoiObjectDegenerateGeometry : public ::testing::TestWithParam<DegenerateCase> {};

TEST_P(RoiObjectDegenerateGeometry, KeepsStoredHeight) {
    CAM_PARAM record = filled_record(3);
    GetParam().spoil(record);
    EXPECT_EQ(roi_object(record)["roiParam"][0]["srcH"], 500);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, RoiObjectDegenerateGeometry,
    ::testing::Values(
        DegenerateCase{"ZeroSourceWidth", [](CAM_PARAM& r) { r.roi_layout.srcWidth = 0; }},
        DegenerateCase{"ZeroOutputWidth", [](CAM_PARAM& r) { r.roi_layout.dstWidth = 0; }},
        DegenerateCase{"ZeroVerticalFov", [](CAM_PARAM& r) { r.max_fovV = 0; }},
        DegenerateCase{"EverythingZero",
                       [](CAM_PARAM& r) {
                           r.roi_layout = video_layout_format{};
                           r.roi_layout.roiNum = 1;
                           r.roi_layout.roiParam[0] = roi(0, 0, 0, 500, 0, 0, 0, 0, 1);
                           r.max_fovH = r.max_fovV = 0;
                       }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(RoiObject, ZeroRegionsGiveAnEmptyArray) {
    CAM_PARAM record = filled_record(3);
    record.roi_layout.roiNum = 0;
    const nlohmann::json object = roi_object(record);
    EXPECT_EQ(object["roiNum"], 0);
    EXPECT_EQ(object["queuePolicy"], 0);
    EXPECT_EQ(object["roiParam"], nlohmann::json::array());
}

TEST(RoiObject, NumbersAreUnsignedExceptAComputedHeight) {
    const nlohmann::json object = roi_object(filled_record(3));
    EXPECT_TRUE(object["srcWidth"].is_number_unsigned());
    EXPECT_TRUE(object["roiNum"].is_number_unsigned());
    EXPECT_TRUE(object["roiParam"][1]["srcH"].is_number_unsigned());
    EXPECT_TRUE(object["roiParam"][1]["projection"].is_number_unsigned());
    EXPECT_TRUE(object["roiParam"][0]["srcH"].is_number_integer());
}

// roiNum comes from outside; the record holds 15 regions and no more are read.
struct ClampCase {
    unsigned stored;
    unsigned reported;
};

void PrintTo(const ClampCase& c, std::ostream* os) {
    *os << "roiNum " << c.stored;
}

class RoiObjectClamping : public ::testing::TestWithParam<ClampCase> {};

TEST_P(RoiObjectClamping, ReportsAtMostTheHeldRegions) {
    CAM_PARAM record = filled_record(2);
    for (int i = 0; i < VIDEO_LAYOUT_MAX_ROI; ++i) {
        const auto index = static_cast<std::uint16_t>(i);
        record.roi_layout.roiParam[i] = roi(index, 0, 100, 50, 0, 0, 100, 50, 0);
    }
    record.roi_layout.roiNum = static_cast<std::uint8_t>(GetParam().stored);

    const nlohmann::json object = roi_object(record);
    EXPECT_EQ(object["roiNum"], GetParam().reported);
    ASSERT_EQ(object["roiParam"].size(), GetParam().reported);
    for (unsigned i = 0; i < GetParam().reported; ++i) {
        EXPECT_EQ(object["roiParam"][i]["srcX"], i);
    }
}

INSTANTIATE_TEST_SUITE_P(Counts, RoiObjectClamping,
                         ::testing::Values(ClampCase{1, 1}, ClampCase{14, 14}, ClampCase{15, 15},
                                           ClampCase{16, 15}, ClampCase{200, 15},
                                           ClampCase{255, 15}));

TEST(RoiObject, ClampsInModeThreeToo) {
    CAM_PARAM record = filled_record(3);
    for (auto& region : record.roi_layout.roiParam) region = roi(0, 0, 960, 500, 0, 0, 0, 0, 1);
    record.roi_layout.roiNum = 200;
    const nlohmann::json object = roi_object(record);
    ASSERT_EQ(object["roiParam"].size(), 15u);
    for (const auto& region : object["roiParam"]) EXPECT_EQ(region["srcH"], 626);
}

TEST(RoiObject, ReservedBytesAreNotReported) {
    const nlohmann::json object = roi_object(filled_record(2));
    EXPECT_EQ(object.size(), 7u);
    EXPECT_FALSE(object.contains("roi_reserved"));
}

}  // namespace
