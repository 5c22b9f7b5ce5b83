// The camera's full settings: fetched with the nine-command refresh, or
// reported from the record when it is already complete.
#include <map>

#include "commands/operation_cases.h"

namespace commands_test {

namespace {

OperationCase settings(const char* name, bool force, bool got_param_before) {
    const bool refetch = force || !got_param_before;
    json reported = {{"http_port", kPort}};
    if (got_param_before && force) reported["got_param"] = false;
    return operation(name,
                     [force](const char* ip, int port) { GetCameraSettings(ip, port, force); })
        .given([got_param_before](CAM_PARAM& r) { r.got_param = got_param_before; })
        .queues(refetch ? refresh_names() : std::vector<std::string>{})
        .reports(reported)
        .stores([](const CAM_PARAM&) { EXPECT_FALSE(Access::roi_requested()); })
        .sends(refetch ? plain_calls(refresh_names()) : std::vector<std::string>{});
}

}  // namespace

std::vector<OperationCase> settings_query_cases() {
    return {
        settings("GetCameraSettings_first", false, false),
        settings("GetCameraSettings_cached", false, true),
        settings("GetCameraSettings_forced", true, true),
        settings("GetCameraSettings_forced_first", true, false),
    };
}

INSTANTIATE_TEST_SUITE_P(SettingsQueries, OperationSubmission,
                         testing::ValuesIn(settings_query_cases()), case_name);
INSTANTIATE_TEST_SUITE_P(SettingsQueries, OperationWithoutClientLibrary,
                         testing::ValuesIn(settings_query_cases()), case_name);

namespace {

using SettingsQueries = HandlerTest;

TEST_F(SettingsQueries, NewCameraIsAskedForEverythingInOrder) {
    answer_everything();
    GetCameraSettings(kIp, kPort, false);
    ASSERT_TRUE(client().wait_for_calls(refresh_names().size(), kExchangeTimeout));
    ASSERT_TRUE(eventually([] { return events().count_log("response_ip: 10.0.0.5") == 9; }));
    ASSERT_TRUE(client().wait_idle());
    EXPECT_EQ(calls_for(kIp), plain_calls(refresh_names()));
    EXPECT_FALSE(Access::roi_requested());
    EXPECT_TRUE(events().results().empty());
    EXPECT_TRUE(events().parameters().empty());
}

TEST_F(SettingsQueries, CompleteSettingsAreReportedOnceWithoutAskingTheCamera) {
    add_held_camera(kIp);
    Access::edit(kIp, [](CAM_PARAM& r) {
        r.got_param = true;
        r.brightness_current = 42;
    });
    GetCameraSettings(kIp, kPort, false);
    EXPECT_TRUE(Access::queued(kIp).empty());
    const auto documents = events().parameters();
    ASSERT_EQ(documents.size(), 1u);
    EXPECT_EQ(documents[0].first, kIp);
    const json document = json::parse(documents[0].second);
    EXPECT_EQ(document.at("got_param"), true);
    EXPECT_EQ(document.at("brightness_current"), 42);
    EXPECT_EQ(document.at("http_port"), kPort);  // the port is stored before the report
}

TEST_F(SettingsQueries, ForcedRefreshForgetsTheSettingsAndReportsNothingYet) {
    add_held_camera(kIp);
    Access::edit(kIp, [](CAM_PARAM& r) { r.got_param = true; });
    GetCameraSettings(kIp, kPort, true);
    EXPECT_FALSE(Access::record(kIp)->got_param);
    EXPECT_EQ(Access::queued(kIp), paired(refresh_names(), kPort));
    EXPECT_TRUE(events().parameters().empty());
}

TEST_F(SettingsQueries, AfterARebootAnUnforcedQueryFetchesEverythingAgain) {
    add_held_camera(kIp);
    Access::edit(kIp, [](CAM_PARAM& r) { r.got_param = true; });
    RebootCamera(kIp, kPort);
    GetCameraSettings(kIp, kPort, false);
    std::vector<std::string> expected = {"Reboot"};
    expected.insert(expected.end(), refresh_names().begin(), refresh_names().end());
    EXPECT_EQ(Access::queued(kIp), paired(expected, kPort));
    EXPECT_TRUE(events().parameters().empty());
}

TEST_F(SettingsQueries, CameraParamsAreReportedAtOnceAndNothingIsQueued) {
    add_held_camera(kIp);
    Access::edit(kIp, [](CAM_PARAM& r) {
        r.got_param = true;
        r.camera_name = "Dock gate";
    });
    GetCameraParams(kIp);
    const auto documents = events().parameters();
    ASSERT_EQ(documents.size(), 1u);
    const json document = json::parse(documents[0].second);
    EXPECT_EQ(document.at("got_param"), true);
    EXPECT_EQ(document.at("camera_name"), "Dock gate");
    EXPECT_EQ(document.at("http_port"), 8080);
    EXPECT_TRUE(Access::queued(kIp).empty());
}

TEST_F(SettingsQueries, CameraParamsOfAnUnknownCameraAreTheDefaultsAndStartNoWorker) {
    GetCameraParams("10.0.0.77");
    const auto documents = events().parameters();
    ASSERT_EQ(documents.size(), 1u);
    EXPECT_EQ(documents[0].first, "10.0.0.77");
    const json document = json::parse(documents[0].second);
    EXPECT_EQ(document.at("got_param"), false);
    EXPECT_EQ(document.at("wdr_value"), -1);
    EXPECT_EQ(document.at("http_port"), 8080);
    EXPECT_FALSE(Access::running(0));
    EXPECT_EQ(client().call_count(), 0u);
}

TEST_F(SettingsQueries, ACameraFirstSeenThroughAReportStillGetsItsCommands) {
    GetCameraParams(kIp);
    SetBrightness(kIp, kPort, 5);
    ASSERT_TRUE(client().wait_for_call("SetBrightness(", 2000ms));
    EXPECT_EQ(calls_for(kIp), std::vector<std::string>{"SetBrightness(10.0.0.5, 5, 8081)"});
}

// ---- A whole refresh against a scripted camera

std::string cmdline_result(const std::string& func, const json& lines) {
    return json{{"name", "camera._cmdLine"}, {"func", func}, {"results", {{"response", lines}}}}
        .dump();
}

std::string options_reply(const json& options) {
    return json{{"name", "camera.getOptions"}, {"results", {{"options", options}}}}.dump();
}

json region(int src_x, int dst_x) {
    return {{"srcX", src_x}, {"srcY", 480}, {"srcW", 960}, {"srcH", 540},    {"dstX", dst_x},
            {"dstY", 0},     {"dstW", 960}, {"dstH", 540}, {"projection", 0}};
}

const json kRegions = {{"srcWidth", 3840}, {"srcHeight", 1920},
                       {"dstWidth", 1920}, {"dstHeight", 540},
                       {"roiNum", 2},      {"roiParam", {region(0, 0), region(1920, 960)}}};

json all_options(const json& module_versions) {
    return {
        {"_brightnessSupport", {{"min", 0}, {"max", 100}}},
        {"_brightness", 55},
        {"_contrastSupport", {{"min", 0}, {"max", 100}}},
        {"_contrast", 50},
        {"_saturationSupport", {{"min", 0}, {"max", 100}}},
        {"_saturation", 60},
        {"_sharpnessSupport", {{"min", 0}, {"max", 10}}},
        {"_sharpness", 6},
        {"_antiflickerSupport", {{"min", 0}, {"max", 2}}},
        {"_antiflicker", 1},
        {"_awbSupport", {{"min", 2800}, {"max", 6500}}},
        {"_awb", 5000},
        {"_autoAwbSupport", {{"min", 0}, {"max", 1}}},
        {"_autoAwb", 1},
        {"_imrxMode", 2},
        {"_wdr", 1},
        {"hdr", 0},
        {"_tiltShift", 3},
        {"_cameraPlacement", 1},
        {"_imrxVersion", module_versions},
        {"_fileFormatPreviewSupport",
         {{{"width", 3840}, {"height", 1920}, {"type", "h264"}, {"fpsMin", 1}, {"fpsMax", 30}},
          {{"width", 3840}, {"height", 3120}, {"type", "h264"}, {"fpsMin", 1}, {"fpsMax", 15}},
          {{"width", 1920},
           {"height", 1080},
           {"type", {"h264", "h265"}},
           {"fpsMin", 1},
           {"fpsMax", 60}}}},
        {"_fileFormatPreview",
         {{{"width", 3840},
           {"height", 1920},
           {"type", "h264"},
           {"framerate", 30},
           {"fov",
            {{"max_fovH", 360}, {"max_fovV", 180}, {"h_start_deg", 0.5}, {"v_start_deg", -90.0}}},
           {"qp", "qp(22,38);rc(6000000,30"}}}},
    };
}

struct RefreshCase {
    const char* name;
    json module_versions;            // in the reply to "GetOptionsAll"
    std::vector<std::string> extra;  // follow-up calls after the nine
    std::string ast1220_ver;
    std::string oem_fw_version;  // as known when the document goes out
};

void PrintTo(const RefreshCase& c, std::ostream* os) {
    *os << c.name;
}

class FullRefresh : public HandlerTest, public testing::WithParamInterface<RefreshCase> {};

TEST_P(FullRefresh, HostGetsOneDocumentHoldingEveryAnswer) {
    const std::map<std::string, std::string> answers = {
        {"GetNetSetting", cmdline_result("GetEthernetSettings", {"static", "192.168.10.20",
                                                                 "255.255.255.0", "192.168.10.1"})},
        {"GetSyslogEnable", cmdline_result("GetSyslogSettings", {"1", "514", "192.168.10.5"})},
        {"GetAuthEnable", cmdline_result("GetAuthEnable", {"1"})},
        {"GetROI", options_reply({{"_roi", kRegions}})},
        {"GetInfo", json{{"manufaturer", "Northwind Imaging"},
                         {"model", "M3VX27164"},
                         {"_chipId", "0x5A17"},
                         {"serialNumber", "NW-000417"},
                         {"firmwareVersion", "2.4.1"}}
                        .dump()},
        {"GetServicePorts",
         options_reply({{"_servicePort", {{"http", kPort}, {"https", 8443}, {"rtsp", 8554}}}})},
        {"GetCameraName", options_reply({{"_cameraName", "Lobby north"}})},
        {"GetOptionsAll", options_reply(all_options(GetParam().module_versions))},
        {"StartStreaming", R"({"name":"camera._getLivePreview","state":"done"})"},
        {"SendCmdLine", cmdline_result("SendCmdLine", {"OEM 2.4.1"})},
        {"GetFwVer1220_1230",
         options_reply({{"_imrxVersion",
                         {{"AST1220", GetParam().ast1220_ver}, {"AST1235", "Q07261-3.1.0"}}}})},
    };
    client().on_call([answers](const std::string& line, const std::string& ip, ClientDouble& d) {
        if (ip.empty()) return;
        const auto answer = answers.find(line.substr(0, line.find('(')));
        d.respond(answer != answers.end() ? answer->second : "{}", ip);
    });

    GetCameraSettings(kIp, kPort, false);

    std::vector<std::string> expected_calls = plain_calls(refresh_names());
    for (const auto& extra : GetParam().extra) expected_calls.push_back(extra);
    // Every call answered, and the last answer read to the end.
    ASSERT_TRUE(eventually([&expected_calls] {
        return events().count_log("response_ip: 10.0.0.5") == expected_calls.size();
    }));
    ASSERT_TRUE(client().wait_idle());
    EXPECT_EQ(calls_for(kIp), expected_calls);
    EXPECT_EQ(events().results(), (std::vector<CommandResult>{{kIp, "StartStreaming", true, ""}}));

    const auto documents = events().parameters();
    ASSERT_EQ(documents.size(), 1u);
    EXPECT_EQ(documents[0].first, kIp);
    const json document = json::parse(documents[0].second);
    const json expected = {
        {"got_param", true},
        {"mode", 2},
        {"brightness_min", 0},
        {"brightness_max", 100},
        {"brightness_current", 55},
        {"contrast_min", 0},
        {"contrast_max", 100},
        {"contrast_current", 50},
        {"sharpness_min", 0},
        {"sharpness_max", 10},
        {"sharpness_current", 6},
        {"awb_min", 2800},
        {"awb_max", 6500},
        {"awb_current", 5000},
        {"autoawb_min", 0},
        {"autoawb_max", 1},
        {"autoawb_current", 1},
        {"saturation_min", 0},
        {"saturation_max", 100},
        {"saturation_current", 60},
        {"antiflicker_min", 0},
        {"antiflicker_max", 2},
        {"antiflicker_current", 1},
        {"vertical_flipped", true},
        {"wdr_value", 1},
        {"hdr_value", 0},
        {"tilt_shift", 3},
        {"_roi",
         {{"srcWidth", 3840},
          {"srcHeight", 1920},
          {"dstWidth", 1920},
          {"dstHeight", 540},
          {"queuePolicy", 0},
          {"roiNum", 2},
          {"roiParam", {region(0, 0), region(1920, 960)}}}},
        {"manufacturer", "Northwind Imaging"},
        {"model", "M3VX27164"},
        {"chipid", "0x5A17"},
        {"serial", "NW-000417"},
        {"ast1220_ver", GetParam().ast1220_ver},
        {"ast1230_ver", "Q07261-3.1.0"},
        {"support_resolution",
         {{{"width", 3840}, {"height", 1920}, {"type", "h264"}, {"fpsMin", 1}, {"fpsMax", 30}},
          {{"width", 1920},
           {"height", 1080},
           {"type", {"h264", "h265"}},
           {"fpsMin", 1},
           {"fpsMax", 60}}}},
        {"current_resolution", {{"width", 3840}, {"height", 1920}}},
        {"encode_type", "h264"},
        {"framerate", 30},
        {"bitrate", 6000},
        {"gop", 30},
        {"fov",
         {{"max_fovH", 360}, {"max_fovV", 180}, {"h_start_deg", 0.5}, {"v_start_deg", -90.0}}},
        {"is_static_ip", true},
        {"static_ip", "192.168.10.20"},
        {"gateway", "192.168.10.1"},
        {"mask", "255.255.255.0"},
        {"enable_log_server", true},
        {"log_server_ip", "192.168.10.5"},
        {"log_server_port", 514},
        {"camera_name", "Lobby north"},
        {"auth_enabled", true},
        {"http_port", kPort},
        {"https_port", 8443},
        {"rtsp_port", 8554},
        {"oem_fw_version", GetParam().oem_fw_version},
    };
    EXPECT_EQ(document, expected) << json::diff(expected, document).dump(2);
    // The region list arrived unasked, so no region report went out.
    EXPECT_FALSE(Access::roi_requested());
}

INSTANTIATE_TEST_SUITE_P(
    Modules, FullRefresh,
    testing::Values(
        // Both versions in the options reply: the document goes out with it,
        // before the version command line queued by the device answer returns.
        RefreshCase{"both_versions_at_once",
                    {{"AST1220", "AST107.3"}, {"AST1235", "Q07261-3.1.0"}},
                    {"SendCmdLine(10.0.0.5, ast_param g version:ruvo:version, 8081)"},
                    "AST107.3",
                    ""},
        // A newer module without its second version: asked for separately, and
        // the document waits for that answer.
        RefreshCase{"second_version_asked_for",
                    {{"AST1220", "IMRX_1.4.2"}},
                    {"SendCmdLine(10.0.0.5, ast_param g version:ruvo:version, 8081)",
                     "GetFwVer1220_1230(10.0.0.5, 8081)"},
                    "IMRX_1.4.2",
                    "OEM 2.4.1"}),
    [](const testing::TestParamInfo<RefreshCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace commands_test
