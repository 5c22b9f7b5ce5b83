// Streaming, preview formats and regions of interest: format changes inside a
// stop/start bracket, region operations only in the modes that have regions.
#include <cstring>

#include "commands/operation_cases.h"

namespace commands_test {

namespace {

const char* const kRoiJson = R"({"roiNum": 1, "roiParam": [ {"srcX": 0, "srcW": 1920} ]})";

bool has_regions(int mode) {
    return mode == 2 || mode == 3;
}

video_layout_format one_region_layout() {
    video_layout_format layout{};
    layout.srcWidth = 3840;
    layout.srcHeight = 1920;
    layout.dstWidth = 1920;
    layout.dstHeight = 1080;
    layout.roiNum = 1;
    layout.roiParam[0] = video_roi_param{100, 200, 960, 540, 0, 0, 1920, 1080, 0};
    return layout;
}

json one_region_report() {
    return {{"srcWidth", 3840},
            {"srcHeight", 1920},
            {"dstWidth", 1920},
            {"dstHeight", 1080},
            {"queuePolicy", 0},
            {"roiNum", 1},
            {"roiParam",
             {{{"srcX", 100},
               {"srcY", 200},
               {"srcW", 960},
               {"srcH", 540},
               {"dstX", 0},
               {"dstY", 0},
               {"dstW", 1920},
               {"dstH", 1080},
               {"projection", 0}}}}};
}

bool same_bytes(const video_layout_format& a, const video_layout_format& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

std::string in_mode(const char* function, int mode) {
    return std::string(function) + "_mode" + std::to_string(mode);
}

RecordEdit mode_is(int mode) {
    return [mode](CAM_PARAM& r) { r.mode = mode; };
}

void add_preview_rows(std::vector<OperationCase>& rows, int mode) {
    const bool restarts = mode == 1;
    rows.push_back(
        operation(in_mode("SetPreviewFormat", mode),
                  [](const char* ip, int port) { SetPreviewFormat(ip, port, 3840, 1920); })
            .given(mode_is(mode))
            .queues(restarts ? std::vector<std::string>{"StopStreaming", "SetStreamParam",
                                                        "StartStreaming"}
                             : std::vector<std::string>{})
            .reports(
                {{"current_resolution", {{"width", 3840}, {"height", 1920}}}, {"http_port", kPort}})
            .sends(restarts ? std::vector<std::string>{"StopStreaming(10.0.0.5, 8081)",
                                                       "SetStreamParam(10.0.0.5, 3840, 1920, 0, "
                                                       "30, 8081)",
                                                       "StartStreaming(10.0.0.5, 8081)"}
                            : std::vector<std::string>{}));
    rows.push_back(
        operation(in_mode("SetPreviewFormat2", mode),
                  [](const char* ip, int port) {
                      SetPreviewFormat2(ip, port, 1920, 1080, "h265", 25, 8000000, 50);
                  })
            .given(mode_is(mode))
            .queues(restarts ? std::vector<std::string>{"StopStreaming", "SetMainStreamFormat",
                                                        "StartStreaming"}
                             : std::vector<std::string>{})
            .reports({{"current_resolution", {{"width", 1920}, {"height", 1080}}},
                      {"encode_type", "h265"},
                      {"framerate", 25},
                      {"bitrate", 8000000},
                      {"gop", 50},
                      {"http_port", kPort}})
            .sends(restarts ? std::vector<std::string>{"StopStreaming(10.0.0.5, 8081)",
                                                       "SetMainStreamFormat(10.0.0.5, 1920, 1080, "
                                                       "0, 25, 25, 8000000, 50, 8081)",
                                                       "StartStreaming(10.0.0.5, 8081)"}
                            : std::vector<std::string>{}));
}

// Outside the regions modes nothing is stored, not even the port.
void add_region_rows(std::vector<OperationCase>& rows, int mode) {
    const bool allowed = has_regions(mode);
    const json port_only = allowed ? json{{"http_port", kPort}} : json::object();
    rows.push_back(
        operation(in_mode("GetROI", mode), [](const char* ip, int port) { GetROI(ip, port); })
            .given(mode_is(mode))
            .queues(allowed ? std::vector<std::string>{"GetROI"} : std::vector<std::string>{})
            .reports(port_only)
            .stores([allowed](const CAM_PARAM&) { EXPECT_EQ(Access::roi_requested(), allowed); })
            .sends(allowed ? std::vector<std::string>{"GetROI(10.0.0.5, 8081)"}
                           : std::vector<std::string>{}));
    rows.push_back(
        operation(in_mode("SetROI", mode),
                  [](const char* ip, int port) { SetROI(ip, port, one_region_layout()); })
            .given(mode_is(mode))
            .queues(allowed ? std::vector<std::string>{"SetROI"} : std::vector<std::string>{})
            .reports(allowed ? json{{"_roi", one_region_report()}, {"http_port", kPort}}
                             : json::object())
            .stores([allowed](const CAM_PARAM& r) {
                EXPECT_TRUE(same_bytes(r.roi_layout,
                                       allowed ? one_region_layout() : video_layout_format{}));
            })
            .sends(allowed ? std::vector<std::string>{"SetROI(10.0.0.5, 8081, 3840x1920 -> "
                                                      "1920x1080, 1)"}
                           : std::vector<std::string>{}));
    rows.push_back(
        operation(in_mode("SetROI_Json", mode),
                  [](const char* ip, int port) { SetROI_Json(ip, port, kRoiJson); })
            .given([mode](CAM_PARAM& r) {
                r.mode = mode;
                r.roi_json = "previous";
            })
            .queues(allowed ? std::vector<std::string>{"SetROI_Json"} : std::vector<std::string>{})
            .reports(port_only)
            .stores([allowed](const CAM_PARAM& r) {
                EXPECT_EQ(r.roi_json, allowed ? kRoiJson : "previous");
            })
            .sends(allowed ? std::vector<std::string>{std::string("SetROI_Json(10.0.0.5, ") +
                                                      kRoiJson + ", 8081)"}
                           : std::vector<std::string>{}));
}

const std::vector<std::string> kFlipBracket = {"StopStreaming", "SetCameraPlacement",
                                               "StartStreaming"};

OperationCase flip(const char* name, bool before, bool after) {
    return operation(name, [after](const char* ip, int port) { SetVerticalFlip(ip, port, after); })
        .given([before](CAM_PARAM& r) { r.vertical_flipped = before; })
        .queues(kFlipBracket)
        .reports({{"vertical_flipped", after}, {"http_port", kPort}})
        .sends(
            {"StopStreaming(10.0.0.5, 8081)",
             std::string("SetCameraPlacement(10.0.0.5, ") + (after ? "true" : "false") + ", 8081)",
             "StartStreaming(10.0.0.5, 8081)"});
}

}  // namespace

std::vector<OperationCase> streaming_roi_cases() {
    std::vector<OperationCase> rows = {
        operation("StartStreaming", [](const char* ip, int port) { StartStreaming(ip, port); })
            .queues({"StartStreaming"})
            .reports({{"http_port", kPort}})
            .sends({"StartStreaming(10.0.0.5, 8081)"}),
        flip("SetVerticalFlip_on", false, true),
        flip("SetVerticalFlip_off", true, false),
        // No shortcut when the picture already has the asked orientation.
        flip("SetVerticalFlip_off_unchanged", false, false),
    };
    for (int mode = 0; mode <= 3; ++mode) {
        add_preview_rows(rows, mode);
        add_region_rows(rows, mode);
    }
    return rows;
}

INSTANTIATE_TEST_SUITE_P(StreamingRoi, OperationSubmission,
                         testing::ValuesIn(streaming_roi_cases()), case_name);
INSTANTIATE_TEST_SUITE_P(StreamingRoi, OperationWithoutClientLibrary,
                         testing::ValuesIn(streaming_roi_cases()), case_name);

namespace {

using StreamingRoi = HandlerTest;

// Every byte distinct from its neighbours, reserved bytes and all fifteen
// regions included.
video_layout_format patterned_layout() {
    static_assert(sizeof(video_layout_format) == 266, "the layout crosses the interface");
    unsigned char bytes[sizeof(video_layout_format)];
    for (size_t i = 0; i < sizeof bytes; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + 3);
    video_layout_format layout;
    std::memcpy(&layout, bytes, sizeof layout);
    layout.roiNum = 2;  // entries past the valid ones must travel too
    return layout;
}

TEST_F(StreamingRoi, SetRoiKeepsAndSendsTheWholeLayout) {
    add_held_camera(kIp);
    Access::edit(kIp, [](CAM_PARAM& r) { r.mode = 2; });
    const video_layout_format layout = patterned_layout();
    SetROI(kIp, kPort, layout);
    EXPECT_TRUE(same_bytes(Access::record(kIp)->roi_layout, layout));

    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_call("SetROI("));
    const std::string expected_call =
        "SetROI(10.0.0.5, 8081, " + std::to_string(layout.srcWidth) + "x" +
        std::to_string(layout.srcHeight) + " -> " + std::to_string(layout.dstWidth) + "x" +
        std::to_string(layout.dstHeight) + ", " + std::to_string(layout.roiNum) + ")";
    EXPECT_EQ(calls_for(kIp), std::vector<std::string>{expected_call});
    const auto received = client().last_layout();
    ASSERT_TRUE(received.has_value());
    EXPECT_TRUE(same_bytes(*received, layout));
}

TEST_F(StreamingRoi, RegionQueryInAModeWithoutRegionsLeavesAnEarlierRequestStanding) {
    add_held_camera(kIp);
    add_held_camera("10.0.0.6");
    Access::edit("10.0.0.6", [](CAM_PARAM& r) { r.mode = 3; });
    GetROI("10.0.0.6", kPort);
    ASSERT_TRUE(Access::roi_requested());
    GetROI(kIp, kPort);  // mode 0
    EXPECT_TRUE(Access::roi_requested());
    EXPECT_TRUE(Access::queued(kIp).empty());
}

}  // namespace
}  // namespace commands_test
