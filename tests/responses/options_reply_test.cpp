// "camera.getOptions" replies: members into the record, follow-up queries and
// the reports they trigger.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "fake_sink.h"

namespace responses_test {
namespace {

using nlohmann::json;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string options_reply(const json& options) {
    return json{{"name", "camera.getOptions"}, {"results", {{"options", options}}}}.dump();
}

struct PictureControlCase {
    const char* capability_key;
    const char* current_key;
    int CAM_PARAM::*min;
    int CAM_PARAM::*max;
    int CAM_PARAM::*current;
};

void PrintTo(const PictureControlCase& c, std::ostream* os) {
    *os << c.current_key;
}

class PictureControl : public ::testing::TestWithParam<PictureControlCase> {};

TEST_P(PictureControl, RangeAndCurrentValueGoToTheirFields) {
    const auto& control = GetParam();
    FakeSink sink;
    sink.parse(options_reply(
        {{control.capability_key, {{"min", -3}, {"max", 97}}}, {control.current_key, 41}}));
    EXPECT_EQ(sink.camera.*control.min, -3);
    EXPECT_EQ(sink.camera.*control.max, 97);
    EXPECT_EQ(sink.camera.*control.current, 41);

    // No other control is touched.
    CAM_PARAM expected;
    expected.*control.min = -3;
    expected.*control.max = 97;
    expected.*control.current = 41;
    for (const auto& other :
         {&CAM_PARAM::brightness_current, &CAM_PARAM::contrast_current,
          &CAM_PARAM::saturation_current, &CAM_PARAM::sharpness_current,
          &CAM_PARAM::antiflicker_current, &CAM_PARAM::awb_current, &CAM_PARAM::autoawb_current,
          &CAM_PARAM::brightness_max, &CAM_PARAM::autoawb_min}) {
        EXPECT_EQ(sink.camera.*other, expected.*other);
    }
}

INSTANTIATE_TEST_SUITE_P(
    EveryControl, PictureControl,
    ::testing::Values(
        PictureControlCase{"_brightnessSupport", "_brightness", &CAM_PARAM::brightness_min,
                           &CAM_PARAM::brightness_max, &CAM_PARAM::brightness_current},
        PictureControlCase{"_contrastSupport", "_contrast", &CAM_PARAM::contrast_min,
                           &CAM_PARAM::contrast_max, &CAM_PARAM::contrast_current},
        PictureControlCase{"_saturationSupport", "_saturation", &CAM_PARAM::saturation_min,
                           &CAM_PARAM::saturation_max, &CAM_PARAM::saturation_current},
        PictureControlCase{"_sharpnessSupport", "_sharpness", &CAM_PARAM::sharpness_min,
                           &CAM_PARAM::sharpness_max, &CAM_PARAM::sharpness_current},
        PictureControlCase{"_antiflickerSupport", "_antiflicker", &CAM_PARAM::antiflicker_min,
                           &CAM_PARAM::antiflicker_max, &CAM_PARAM::antiflicker_current},
        PictureControlCase{"_awbSupport", "_awb", &CAM_PARAM::awb_min, &CAM_PARAM::awb_max,
                           &CAM_PARAM::awb_current},
        PictureControlCase{"_autoAwbSupport", "_autoAwb", &CAM_PARAM::autoawb_min,
                           &CAM_PARAM::autoawb_max, &CAM_PARAM::autoawb_current}));

struct IntMemberCase {
    const char* key;
    int CAM_PARAM::*field;
};

void PrintTo(const IntMemberCase& c, std::ostream* os) {
    *os << c.key;
}

class IntMember : public ::testing::TestWithParam<IntMemberCase> {};

TEST_P(IntMember, IsStoredInItsField) {
    FakeSink sink;
    sink.parse(options_reply({{GetParam().key, 6}}));
    EXPECT_EQ(sink.camera.*GetParam().field, 6);
}

INSTANTIATE_TEST_SUITE_P(EveryMember, IntMember,
                         ::testing::Values(IntMemberCase{"_wdr", &CAM_PARAM::wdr_value},
                                           IntMemberCase{"hdr", &CAM_PARAM::hdr_value},
                                           IntMemberCase{"_tiltShift", &CAM_PARAM::tilt_shift},
                                           IntMemberCase{"_imrxMode", &CAM_PARAM::mode}));

TEST(OptionsReply, UnderscoredHdrKeyIsNotTheCamerasOwn) {
    FakeSink sink;
    sink.parse(options_reply({{"_hdr", 2}}));
    EXPECT_EQ(sink.camera.hdr_value, -1);
}

TEST(OptionsReply, CameraPlacementFlipsForAnyNonZeroValue) {
    FakeSink sink;
    sink.parse(options_reply({{"_cameraPlacement", 2}}));
    EXPECT_TRUE(sink.camera.vertical_flipped);
    sink.parse(options_reply({{"_cameraPlacement", 0}}));
    EXPECT_FALSE(sink.camera.vertical_flipped);
}

TEST(OptionsReply, ServicePortsAndCameraName) {
    FakeSink sink;
    sink.parse(options_reply(
        {{"_servicePort", {{"https", 8443}, {"rtsp", 8554}}}, {"_cameraName", "Hall"}}));
    EXPECT_EQ(sink.camera.https_port, 8443);
    EXPECT_EQ(sink.camera.rtsp_port, 8554);
    EXPECT_EQ(sink.camera.http_port, 8080);
    EXPECT_EQ(sink.camera.camera_name, "Hall");
}

TEST(OptionsReply, AnswerWithoutOptionsObjectIsIgnored) {
    for (const char* text :
         {R"({"name":"camera.getOptions"})", R"({"name":"camera.getOptions","results":[]})",
          R"({"name":"camera.getOptions","results":{"_wdr":1}})",
          R"({"name":"camera.getOptions","results":{"options":[{"_wdr":1}]}})"}) {
        FakeSink sink;
        sink.parse(text);
        EXPECT_EQ(sink.camera.wdr_value, -1) << text;
        EXPECT_THAT(sink.events, IsEmpty()) << text;
    }
}

// The layout is packed: its 16-bit fields must not bind to references.
std::vector<int> layout_sizes(const video_layout_format& layout) {
    return {layout.srcWidth, layout.srcHeight, layout.dstWidth, layout.dstHeight};
}

std::vector<int> roi_fields(const video_roi_param& roi) {
    return {roi.srcX, roi.srcY, roi.srcW, roi.srcH,      roi.dstX,
            roi.dstY, roi.dstW, roi.dstH, roi.projection};
}

json roi_param(int base) {
    return {{"srcX", base},     {"srcY", base + 1}, {"srcW", base + 2},
            {"srcH", base + 3}, {"dstX", base + 4}, {"dstY", base + 5},
            {"dstW", base + 6}, {"dstH", base + 7}, {"projection", 1}};
}

json roi_block(int elements) {
    json params = json::array();
    for (int i = 0; i < elements; ++i) params.push_back(roi_param(100 * i));
    return {{"srcWidth", 3840},  {"srcHeight", 2160},  {"dstWidth", 1920},
            {"dstHeight", 1080}, {"roiNum", elements}, {"roiParam", params}};
}

TEST(OptionsReply, RoiLayoutIsStored) {
    FakeSink sink;
    sink.parse(options_reply({{"_roi", roi_block(2)}}));
    const video_layout_format& layout = sink.camera.roi_layout;
    EXPECT_THAT(layout_sizes(layout), ElementsAre(3840, 2160, 1920, 1080));
    EXPECT_EQ(layout.roiNum, 2);
    EXPECT_THAT(roi_fields(layout.roiParam[1]),
                ElementsAre(100, 101, 102, 103, 104, 105, 106, 107, 1));
    EXPECT_THAT(roi_fields(layout.roiParam[2]), Each(0));
}

TEST(OptionsReply, RoiEntriesBeyondTheRecordsCapacityAreDropped) {
    FakeSink sink;
    // The field declared right after the layout would be overwritten first.
    const std::string canary = "after the layout";
    sink.camera.roi_json = canary;
    sink.parse(options_reply({{"_roi", roi_block(20)}}));
    const video_layout_format& layout = sink.camera.roi_layout;
    EXPECT_EQ(layout.roiNum, 20) << "the count is stored as reported";
    EXPECT_EQ(roi_fields(layout.roiParam[VIDEO_LAYOUT_MAX_ROI - 1]).front(),
              100 * (VIDEO_LAYOUT_MAX_ROI - 1));
    EXPECT_EQ(sink.camera.roi_json, canary);
}

TEST(OptionsReply, RoiDocumentOnlyWhenTheHostAskedForIt) {
    FakeSink quiet;
    quiet.parse(options_reply({{"_roi", roi_block(1)}}));
    EXPECT_EQ(quiet.roi_notifications, 0);

    FakeSink asked;
    asked.rois_requested = true;
    asked.parse(options_reply({{"_roi", roi_block(1)}}));
    EXPECT_EQ(asked.roi_notifications, 1);
}

TEST(OptionsReply, ModeOneInTheSameReplyDropsTheNewRois) {
    FakeSink sink;
    sink.rois_requested = true;
    sink.parse(options_reply({{"_roi", roi_block(3)}, {"_imrxMode", 1}}));
    EXPECT_EQ(sink.camera.roi_layout.roiNum, 0);
    EXPECT_EQ(sink.roi_notifications, 1) << "the layout is reported before the mode is read";
}

TEST(OptionsReply, ModeIsReportedOnlyWhileAModeQueryIsPending) {
    FakeSink sink;
    sink.parse(options_reply({{"_imrxMode", 3}}));
    EXPECT_THAT(sink.results, IsEmpty());

    sink.camera.mode_query_pending = true;
    sink.parse(options_reply({{"_imrxMode", 2}}));
    EXPECT_THAT(sink.results, ElementsAre(ReportedResult{"GetMode", true, "2"}));
    EXPECT_FALSE(sink.camera.mode_query_pending);

    sink.parse(options_reply({{"_imrxMode", 3}}));
    EXPECT_EQ(sink.results.size(), 1u);
}

struct VersionCase {
    const char* name;
    json versions;
    bool got_param;
    std::vector<std::string> queued;
};

void PrintTo(const VersionCase& c, std::ostream* os) {
    *os << c.name;
}

class ModuleVersions : public ::testing::TestWithParam<VersionCase> {};

TEST_P(ModuleVersions, DecideWhetherTheParametersAreComplete) {
    FakeSink sink;
    sink.parse(options_reply({{"_imrxVersion", GetParam().versions}}));
    EXPECT_EQ(sink.camera.got_param, GetParam().got_param);
    std::vector<std::string> queued;
    for (const auto& q : sink.queued) queued.push_back(q.command);
    EXPECT_EQ(queued, GetParam().queued);
    EXPECT_EQ(sink.parameter_notifications, GetParam().got_param ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(
    Generations, ModuleVersions,
    ::testing::Values(
        VersionCase{"gen07", {{"AST1220", "AST107.2"}}, true, {}},
        VersionCase{"gen08", {{"AST1220", "AST108.2"}}, false, {"GetFwVer1220_1230"}},
        VersionCase{"gen09", {{"AST1220", "AST109.2"}}, false, {"GetFwVer1220_1230"}},
        VersionCase{"imrx", {{"AST1220", "IMRX_1.0"}}, false, {"GetFwVer1220_1230"}},
        VersionCase{"gen09_with_1235", {{"AST1220", "AST109.2"}, {"AST1235", "Q07261"}}, true, {}},
        VersionCase{"imrx_with_1235", {{"AST1220", "IMRX_1.0"}, {"AST1235", "Q04932"}}, true, {}},
        VersionCase{"only_1235", {{"AST1235", "Q04932"}}, true, {}},
        VersionCase{"neither", json::object(), false, {}}));

TEST(OptionsReply, ModuleVersionsAreStored) {
    FakeSink sink;
    sink.parse(options_reply({{"_imrxVersion", {{"AST1220", "AST109.2"}, {"AST1235", "Q07261"}}}}));
    EXPECT_EQ(sink.camera.ast1220_ver, "AST109.2");
    EXPECT_EQ(sink.camera.ast1230_ver, "Q07261");
}

TEST(OptionsReply, KnownAst1230VersionCompletesAGenerationNineReply) {
    FakeSink sink;
    sink.camera.ast1230_ver = "Q07261";
    sink.parse(options_reply({{"_imrxVersion", {{"AST1220", "AST109.2"}}}}));
    EXPECT_TRUE(sink.camera.got_param);
    EXPECT_THAT(sink.queued, IsEmpty());
}

TEST(OptionsReply, VersionQueryUsesTheHttpPort) {
    FakeSink sink;
    sink.camera.http_port = 8888;
    sink.parse(options_reply({{"_imrxVersion", {{"AST1220", "IMRX_2"}}}}));
    EXPECT_THAT(sink.queued, ElementsAre(QueuedCommand{"GetFwVer1220_1230", 8888}));
}

TEST(OptionsReply, ReplyWithoutModuleVersionsSendsNoParameterDocument) {
    FakeSink sink;
    sink.camera.got_param = true;
    sink.parse(options_reply({{"_wdr", 1}, {"_cameraName", "x"}}));
    EXPECT_EQ(sink.camera.wdr_value, 1);
    EXPECT_EQ(sink.parameter_notifications, 0);
}

TEST(OptionsReply, CompleteReplySendsOneParameterDocumentAfterEverythingElse) {
    FakeSink sink;
    sink.rois_requested = true;
    sink.camera.mode_query_pending = true;
    sink.parse(options_reply({{"_roi", roi_block(1)},
                              {"_imrxMode", 2},
                              {"_imrxVersion", {{"AST1220", "AST107.1"}}},
                              {"_updateStatus", {{"progress", 5}, {"description", "idle"}}},
                              {"_cameraName", "Gate"}}));
    EXPECT_THAT(sink.events,
                ElementsAre("notify rois", "result GetMode", "progress", "notify parameters"));
    EXPECT_EQ(sink.camera.camera_name, "Gate");
}

TEST(OptionsReply, UnsupportedResolutionAloneEmptiesAllFormatLists) {
    FakeSink sink;
    sink.camera.support_resolution = {{1920, 1080}};
    sink.camera.support_fps = {{1, 30}};
    sink.camera.support_types = {{"h264"}};
    sink.parse(options_reply({{"_fileFormatPreviewSupport",
                               {{{"width", 3840},
                                 {"height", 3120},
                                 {"type", "h264"},
                                 {"fpsMin", 1},
                                 {"fpsMax", 15}}}}}));
    EXPECT_THAT(sink.camera.support_resolution, IsEmpty());
    EXPECT_THAT(sink.camera.support_fps, IsEmpty());
    EXPECT_THAT(sink.camera.support_types, IsEmpty());
}

TEST(OptionsReply, SupportedFormatsKeepTheirOrderAndOptionalParts) {
    FakeSink sink;
    sink.parse(options_reply(
        {{"_fileFormatPreviewSupport",
          {{{"width", 1920}, {"height", 1080}, {"type", "h264"}, {"fpsMin", 1}, {"fpsMax", 30}},
           {{"width", 3840}, {"height", 3120}, {"type", "h264"}},
           {{"width", 3840}, {"height", 2160}, {"type", {"h264", "h265"}}},
           {{"width", 1280}, {"height", 3120}, {"fpsMax", 60}},
           {{"width", 640}, {"height", 480}, {"type", 5}, {"fpsMin", 5}, {"fpsMax", 10}}}}}));
    EXPECT_THAT(sink.camera.support_resolution,
                ElementsAre(Resolution{1920, 1080}, Resolution{3840, 2160}, Resolution{1280, 3120},
                            Resolution{640, 480}));
    EXPECT_THAT(sink.camera.support_types, ElementsAre(std::vector<std::string>{"h264"},
                                                       std::vector<std::string>{"h264", "h265"}));
    EXPECT_THAT(sink.camera.support_fps, ElementsAre(FrameRateRange{1, 30}, FrameRateRange{5, 10}));
}

TEST(OptionsReply, PreviewFormatWithFieldOfViewAndRateControl) {
    FakeSink sink;
    sink.parse(options_reply(
        {{"_fileFormatPreview",
          {{{"width", 1920},
            {"height", 960},
            {"type", "h265"},
            {"framerate", 25},
            {"fov",
             {{"max_fovH", 360}, {"max_fovV", 180}, {"h_start_deg", -180.5}, {"v_start_deg", -90}}},
            {"qp", "qp(20,40);rc(4000000,60"}},
           {{"width", 1}, {"height", 1}, {"type", "ignored"}, {"framerate", 1}}}}}));
    EXPECT_EQ(sink.camera.current_resolution, (Resolution{1920, 960}));
    EXPECT_EQ(sink.camera.encode_type, "h265");
    EXPECT_EQ(sink.camera.framerate, 25);
    EXPECT_EQ(sink.camera.max_fovH, 360);
    EXPECT_EQ(sink.camera.max_fovV, 180);
    EXPECT_FLOAT_EQ(sink.camera.h_start_deg, -180.5f);
    EXPECT_FLOAT_EQ(sink.camera.v_start_deg, -90.0f);
    EXPECT_EQ(sink.camera.bitrate, 4000);
    EXPECT_EQ(sink.camera.gop, 60);
}

TEST(OptionsReply, RateControlBitrateRoundsTowardZeroAndLastPartWins) {
    FakeSink sink;
    sink.parse(options_reply({{"_fileFormatPreview",
                               {{{"width", 1},
                                 {"height", 1},
                                 {"type", "h264"},
                                 {"framerate", 1},
                                 {"qp", "rc(1000,10);x;rc(2999999,30)"}}}}}));
    EXPECT_EQ(sink.camera.bitrate, 2999);
    EXPECT_EQ(sink.camera.gop, 30);
}

TEST(OptionsReply, FieldOfViewStartAnglesAreOptional) {
    FakeSink sink;
    sink.camera.h_start_deg = 7.0f;
    sink.parse(options_reply({{"_fileFormatPreview",
                               {{{"width", 1},
                                 {"height", 1},
                                 {"type", "h264"},
                                 {"framerate", 1},
                                 {"fov", {{"max_fovH", 200}, {"max_fovV", 100}}}}}}}));
    EXPECT_EQ(sink.camera.max_fovH, 200);
    EXPECT_FLOAT_EQ(sink.camera.h_start_deg, 7.0f);
    EXPECT_EQ(sink.camera.bitrate, 15) << "no qp: rate control unchanged";
}

TEST(OptionsReply, UpdateStatusIsReportedButNotStored) {
    FakeSink sink;
    sink.camera.update_progress = 12;
    sink.parse(options_reply(
        {{"_updateStatus", {{"progress", 80}, {"target", 3}, {"description", "flash"}}}}));
    EXPECT_THAT(sink.progress_reports, ElementsAre(ReportedProgress{"3 : flash", 80}));
    EXPECT_EQ(sink.camera.update_progress, 12);
}

}  // namespace
}  // namespace responses_test
