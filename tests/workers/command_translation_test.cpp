// Every queued command name becomes exactly one client call, with its
// arguments read from the record when it is sent.
#include "workers/command_translation.h"
#include "support/handler_fixture.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

constexpr const char* kIp = "10.0.0.5";

struct TranslationCase {
    const char* queued;
    std::function<void(CAM_PARAM&)> record;
    const char* call;  // expected client call, without "(ip, " and with ", port)"
};

void none(CAM_PARAM&) {}

// (ip, port) commands that call the operation of the same name.
std::vector<TranslationCase> plain_cases() {
    std::vector<TranslationCase> cases;
    for (const char* name : {"SetDhcp",
                             "AstParamRwSave",
                             "GetUpdateProgress",
                             "GetOptionsAll",
                             "GetROI",
                             "GetImrxMode",
                             "GetCameraPlacement",
                             "GetInfo",
                             "GetHdr",
                             "GetWdr",
                             "GetFwVer1220ByIp",
                             "GetFwVer1220_1230",
                             "GetProcessList",
                             "GetAst1230UsbList",
                             "GetCpuUsage",
                             "GetMemoryUsage",
                             "GetQPpreview",
                             "GetCameraState",
                             "GetNetSetting",
                             "GetSyslogEnable",
                             "EnableGyro",
                             "DisableGyro",
                             "GetGyroAndAccel",
                             "GetCameraName",
                             "GetAuthEnable",
                             "GetServicePorts",
                             "TakeScreenShot",
                             "GetCaptureStatus",
                             "StopStreaming",
                             "StartStreaming",
                             "Reboot"}) {
        cases.push_back({name, none, name});
    }
    return cases;
}

std::vector<TranslationCase> field_cases() {
    return {
        {"SetBrightness", [](CAM_PARAM& r) { r.brightness_current = 11; }, "SetBrightness 11"},
        {"SetContrast", [](CAM_PARAM& r) { r.contrast_current = 12; }, "SetContrast 12"},
        {"SetSaturation", [](CAM_PARAM& r) { r.saturation_current = 13; }, "SetSaturation 13"},
        {"SetAWB", [](CAM_PARAM& r) { r.awb_current = 14; }, "SetAWB 14"},
        {"SetAutoAWB", [](CAM_PARAM& r) { r.autoawb_current = 15; }, "SetAutoAWB 15"},
        {"SetSharpness", [](CAM_PARAM& r) { r.sharpness_current = 16; }, "SetSharpness 16"},
        {"SetAntiFlicker", [](CAM_PARAM& r) { r.antiflicker_current = 17; }, "SetAntiFlicker 17"},
        {"SetWDRValue", [](CAM_PARAM& r) { r.wdr_value = 18; }, "SetWDRValue 18"},
        {"SetHDRValue", [](CAM_PARAM& r) { r.hdr_value = -1; }, "SetHDRValue -1"},
        {"SetCameraPlacement", [](CAM_PARAM& r) { r.vertical_flipped = true; },
         "SetCameraPlacement true"},
        {"SetBitrate", [](CAM_PARAM& r) { r.bitrate = 8000000; }, "SetBitrate 8000000"},
        {"SetImrxMode", [](CAM_PARAM& r) { r.mode = 3; }, "SetImrxMode 3"},
        {"SetTiltShift", [](CAM_PARAM& r) { r.tilt_shift = -4; }, "SetTiltShift -4"},
        {"SetAuthEnable", [](CAM_PARAM& r) { r.auth_enabled = true; }, "SetAuthEnable true"},
        {"SetROI_Json", [](CAM_PARAM& r) { r.roi_json = R"({"roiNum":0})"; },
         R"(SetROI_Json {"roiNum":0})"},
        {"SendCmdLine", [](CAM_PARAM& r) { r.cmdline = "ast_param g version:ruvo:version"; },
         "SendCmdLine ast_param g version:ruvo:version"},
        {"Update1220", [](CAM_PARAM& r) { r.fw_1220_path = "/fw/update.img"; },
         "Update1220 /fw/update.img"},
        {"SetStreamParam",
         [](CAM_PARAM& r) {
             r.current_resolution = {5760, 2880};
         },
         "SetStreamParam 5760, 2880, 0, 15"},
        {"SetStreamParam",
         [](CAM_PARAM& r) {
             r.current_resolution = {3840, 5760};
         },
         "SetStreamParam 3840, 5760, 0, 15"},
        {"SetStreamParam",
         [](CAM_PARAM& r) {
             r.current_resolution = {3840, 1920};
         },
         "SetStreamParam 3840, 1920, 0, 30"},
        {"SetMainStreamFormat",
         [](CAM_PARAM& r) {
             r.current_resolution = {1920, 1080};
             r.framerate = 25;
             r.bitrate = 4000;
             r.gop = 50;
         },
         "SetMainStreamFormat 1920, 1080, 0, 25, 25, 4000, 50"},
        {"SetStaticIp",
         [](CAM_PARAM& r) {
             r.static_ip = "10.0.0.9";
             r.gateway = "10.0.0.1";
             r.mask = "255.255.255.0";
         },
         "SetStaticIp 10.0.0.9, 10.0.0.1, 255.255.255.0"},
        {"SetSyslogEnable",
         [](CAM_PARAM& r) {
             r.log_server_ip = "10.0.0.2";
             r.log_server_port = 514;
             r.enable_log_server = true;
         },
         "SetSyslogEnable 10.0.0.2, 514, 1"},
        {"SetCameraPorts",
         [](CAM_PARAM& r) {
             r.http_port = 80;
             r.https_port = 8443;
             r.rtsp_port = 8554;
         },
         "SetCameraPorts 80, 8443, 8554"},
        {"UpdateFWAll",
         [](CAM_PARAM& r) {
             r.fw_1220_path = "d.img";
             r.fw_1230_path_1 = "a";
             r.fw_1230_path_2 = "b";
             r.fw_1230_path_3 = "c";
         },
         "UpdateFWAll d.img, a, b, c"},
        {"GyroEnable", none, "EnableGyro"},
        {"SetROI",
         [](CAM_PARAM& r) {
             r.roi_layout.srcWidth = 3840;
             r.roi_layout.srcHeight = 1920;
             r.roi_layout.dstWidth = 1920;
             r.roi_layout.dstHeight = 1080;
             r.roi_layout.roiNum = 2;
         },
         "SetROI 3840x1920 -> 1920x1080, 2"},
    };
}

// "Name a, b" -> "Name(10.0.0.5, a, b, 8080)"; "Name" -> "Name(10.0.0.5, 8080)".
std::string expected_call(const std::string& call, int port) {
    const auto blank = call.find(' ');
    const std::string name = call.substr(0, blank);
    const std::string args = blank == std::string::npos ? "" : call.substr(blank + 1) + ", ";
    if (name == "SetROI") {
        return name + "(" + kIp + ", " + std::to_string(port) + ", " + call.substr(blank + 1) + ")";
    }
    return name + "(" + kIp + ", " + args + std::to_string(port) + ")";
}

class Translation : public HandlerTest, public testing::WithParamInterface<TranslationCase> {};

TEST_P(Translation, SendsTheMatchingOperationWithTheRecordsFields) {
    add_held_camera(kIp);
    Access::edit(kIp, GetParam().record);
    Access::push(kIp, GetParam().queued, 8081);
    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_calls(1));
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(client().calls(), std::vector<std::string>{expected_call(GetParam().call, 8081)});
}

std::string case_name(const testing::TestParamInfo<TranslationCase>& info) {
    return std::string(info.param.queued) + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(Plain, Translation, testing::ValuesIn(plain_cases()), case_name);
INSTANTIATE_TEST_SUITE_P(Fields, Translation, testing::ValuesIn(field_cases()), case_name);

TEST(TranslationVocabulary, HasFiftySevenNamesMatchedExactly) {
    const std::vector<std::string> names = {"SetBrightness",
                                            "SetContrast",
                                            "SetSaturation",
                                            "SetAWB",
                                            "SetAutoAWB",
                                            "SetSharpness",
                                            "SetAntiFlicker",
                                            "SetWDRValue",
                                            "SetHDRValue",
                                            "StopStreaming",
                                            "StartStreaming",
                                            "SetCameraPlacement",
                                            "SetBitrate",
                                            "SetStreamParam",
                                            "SetMainStreamFormat",
                                            "SetImrxMode",
                                            "SetROI",
                                            "SetROI_Json",
                                            "Update1220",
                                            "Update1230",
                                            "SetStaticIp",
                                            "SetDhcp",
                                            "AstParamRwSave",
                                            "GetUpdateProgress",
                                            "Reboot",
                                            "GetOptionsAll",
                                            "GetROI",
                                            "GetImrxMode",
                                            "GetCameraPlacement",
                                            "GetInfo",
                                            "GetHdr",
                                            "GetWdr",
                                            "GetFwVer1220ByIp",
                                            "GetFwVer1220_1230",
                                            "GyroEnable",
                                            "GetProcessList",
                                            "GetAst1230UsbList",
                                            "GetCpuUsage",
                                            "GetMemoryUsage",
                                            "GetQPpreview",
                                            "GetCameraState",
                                            "SetSyslogEnable",
                                            "GetNetSetting",
                                            "GetSyslogEnable",
                                            "EnableGyro",
                                            "DisableGyro",
                                            "GetGyroAndAccel",
                                            "GetCameraName",
                                            "GetAuthEnable",
                                            "SetAuthEnable",
                                            "GetServicePorts",
                                            "SendCmdLine",
                                            "UpdateFWAll",
                                            "SetTiltShift",
                                            "SetCameraPorts",
                                            "TakeScreenShot",
                                            "GetCaptureStatus"};
    EXPECT_EQ(names.size(), 57u);
    for (const auto& name : names) EXPECT_TRUE(is_queued_command_name(name)) << name;
    for (const char* near_miss : {"setbrightness", "SetBrightness ", "GetQpPreview", "GetMode",
                                  "SetTillShift", "Update1230_7261", ""}) {
        EXPECT_FALSE(is_queued_command_name(near_miss)) << near_miss;
    }
}

struct ModuleCase {
    const char* model;
    const char* call;  // empty: nothing is sent
};

class Update1230ByModel : public HandlerTest, public testing::WithParamInterface<ModuleCase> {};

TEST_P(Update1230ByModel, ChoosesTheModulesScriptAndPrintsOneLine) {
    add_held_camera(kIp);
    Access::edit(kIp, [](CAM_PARAM& r) { r.model = GetParam().model; });
    Update1230Firmware(kIp, 8080, "a.bin", "b.bin", "c.sh");
    SetBrightness(kIp, 8080, 1);  // follows after the gate either way
    CaptureStdout();
    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_call("SetBrightness(", 2000ms));
    const std::string out = GetCapturedStdout();
    const auto calls = client().calls();
    const std::string model = GetParam().model;
    if (std::string(GetParam().call).empty()) {
        EXPECT_EQ(calls, std::vector<std::string>{"SetBrightness(10.0.0.5, 1, 8080)"});
        EXPECT_EQ(out, "");
    } else {
        ASSERT_EQ(calls.size(), 2u);
        EXPECT_EQ(calls[0], std::string(GetParam().call) + "(10.0.0.5, a.bin, b.bin, c.sh, 8080)");
        EXPECT_EQ(out, "10.0.0.5 " + model + " a.bin, b.bin, c.sh\n");
    }
}

INSTANTIATE_TEST_SUITE_P(Models, Update1230ByModel,
                         testing::Values(ModuleCase{"Q07261", "Update1230_7261"},
                                         ModuleCase{"Q06127", "Update1230_6127"},
                                         ModuleCase{"Q04932", "Update1230_4932"},
                                         ModuleCase{"Q04937", ""}, ModuleCase{"", ""}));

}  // namespace
