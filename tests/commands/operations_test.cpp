// Every camera operation of the C interface, one row each: what the host
// sees change in the parameter document at once, and the exact client calls
// the camera's worker then makes.
#include <functional>

#include "support/handler_fixture.h"
#include "support/layouts.h"

namespace {

struct Operation {
    const char* name;
    std::function<void(const char* ip, int port)> call;
    std::function<void(CAM_PARAM&)> given;  // the record before the call; may be empty
    std::vector<std::string> calls;         // client calls, in order
    json changes;                           // document members that change, new values
    std::vector<std::string> events = {};   // host callbacks made on the calling thread
};

Operation op(const char* name, std::function<void(const char*, int)> call,
             std::function<void(CAM_PARAM&)> given, std::vector<std::string> calls, json changes,
             std::vector<std::string> events = {}) {
    return {name,
            std::move(call),
            std::move(given),
            std::move(calls),
            std::move(changes),
            std::move(events)};
}

void PrintTo(const Operation& op, std::ostream* os) {
    *os << op.name;
}

json at_port(json changes) {
    changes["http_port"] = kPort;
    return changes;
}

video_layout_format one_region() {
    return source_layout(1920, 1080, {{10, 20, 960, 540, 30, 40, 950, 530, 0}});
}

const json kOneRegion = R"({"srcWidth":3840,"srcHeight":1920,"dstWidth":1920,"dstHeight":1080,
  "queuePolicy":0,"roiNum":1,"roiParam":[{"srcX":10,"srcY":20,"srcW":960,"srcH":540,"dstX":30,
  "dstY":40,"dstW":950,"dstH":530,"projection":0}]})"_json;

auto mode(int m) {
    return [m](CAM_PARAM& r) { r.mode = m; };
}
auto model(const char* name) {
    return [name](CAM_PARAM& r) { r.model = name; };
}
auto complete(CAM_PARAM& r) {
    r.got_param = true;
}

#define CALL(expr) [](const char* ip, int port) { expr; }

const std::vector<std::string> kRefresh = {
    "GetNetSetting(8081)", "GetSyslogEnable(8081)", "GetAuthEnable(8081)",
    "GetROI(8081)",        "GetInfo(8081)",         "GetServicePorts(8081)",
    "GetCameraName(8081)", "GetOptionsAll(8081)",   "StartStreaming(8081)"};

// SaveParam is left out: its call is the marker every row ends with.
const std::vector<Operation> kOperations = {
    op("SetBrightness", CALL(SetBrightness(ip, port, 37)), {}, {"SetBrightness(37, 8081)"},
       at_port({{"brightness_current", 37}})),
    // No range check: a value below any camera minimum goes out as given.
    op("SetContrast", CALL(SetContrast(ip, port, -3)), {}, {"SetContrast(-3, 8081)"},
       at_port({{"contrast_current", -3}})),
    op("SetSaturation", CALL(SetSaturation(ip, port, 250)), {}, {"SetSaturation(250, 8081)"},
       at_port({{"saturation_current", 250}})),
    op("SetAWB", CALL(SetAWB(ip, port, 5600)), {}, {"SetAWB(5600, 8081)"},
       at_port({{"awb_current", 5600}})),
    op("SetAutoAWB", CALL(SetAutoAWB(ip, port, 1)), {}, {"SetAutoAWB(1, 8081)"},
       at_port({{"autoawb_current", 1}})),
    op("SetSharpness", CALL(SetSharpness(ip, port, 9)), {}, {"SetSharpness(9, 8081)"},
       at_port({{"sharpness_current", 9}})),
    op("SetAntiFlicker", CALL(SetAntiFlicker(ip, port, 60)), {}, {"SetAntiFlicker(60, 8081)"},
       at_port({{"antiflicker_current", 60}})),
    op("SetWDRValue", CALL(SetWDRValue(ip, port, 2)), {}, {"SetWDRValue(2, 8081)"},
       at_port({{"wdr_value", 2}})),
    op("SetHDRValue", CALL(SetHDRValue(ip, port, 4)), {}, {"SetHDRValue(4, 8081)"},
       at_port({{"hdr_value", 4}})),
    op("SetTiltShift", CALL(SetTiltShift(ip, port, -12)), {}, {"SetTiltShift(-12, 8081)"},
       at_port({{"tilt_shift", -12}})),
    op("SetBitrate", CALL(SetBitrate(ip, port, 8000)), {}, {"SetBitrate(8000, 8081)"},
       at_port({{"bitrate", 8000}})),
    op("SetMode", CALL(SetMode(ip, port, 1)), {}, {"SetImrxMode(1, 8081)"}, at_port({{"mode", 1}})),
    op("GetMode", CALL(GetMode(ip, port)), {}, {"GetImrxMode(8081)"}, at_port({})),
    op("StartStreaming", CALL(StartStreaming(ip, port)), {}, {"StartStreaming(8081)"}, at_port({})),
    op("GetROI", CALL(GetROI(ip, port)), mode(2), {"GetROI(8081)"}, at_port({})),
    op("GetROIWithoutRegions", CALL(GetROI(ip, port)), mode(1), {}, {}),
    op("SetROI", CALL(SetROI(ip, port, one_region())), mode(2),
       {"SetROI(8081, 3840x1920 -> 1920x1080, 1, 10 20 960 540>30 40 950 530 p0)"},
       at_port({{"_roi", kOneRegion}})),
    op("SetROIWithoutRegions", CALL(SetROI(ip, port, one_region())), mode(1), {}, {}),
    op("SetROI_Json", CALL(SetROI_Json(ip, port, "{\"roiNum\":0}")), mode(3),
       {"SetROI_Json({\"roiNum\":0}, 8081)"}, at_port({})),
    op("SetROI_JsonWithoutRegions", CALL(SetROI_Json(ip, port, "{}")), mode(0), {}, {}),
    op("SetVerticalFlip", CALL(SetVerticalFlip(ip, port, true)), {},
       {"StopStreaming(8081)", "SetCameraPlacement(true, 8081)", "StartStreaming(8081)"},
       at_port({{"vertical_flipped", true}})),
    // 5760-wide previews only run at 15 frames a second.
    op("SetPreviewFormat", CALL(SetPreviewFormat(ip, port, 5760, 2880)), mode(1),
       {"StopStreaming(8081)", "SetStreamParam(5760, 2880, 0, 15, 8081)", "StartStreaming(8081)"},
       at_port({{"current_resolution", {{"width", 5760}, {"height", 2880}}}})),
    op("SetPreviewFormatAt30", CALL(SetPreviewFormat(ip, port, 1920, 960)), mode(1),
       {"StopStreaming(8081)", "SetStreamParam(1920, 960, 0, 30, 8081)", "StartStreaming(8081)"},
       at_port({{"current_resolution", {{"width", 1920}, {"height", 960}}}})),
    // Outside preview mode the size waits for the next restart.
    op("SetPreviewFormatOutsidePreview", CALL(SetPreviewFormat(ip, port, 1920, 960)), mode(2), {},
       at_port({{"current_resolution", {{"width", 1920}, {"height", 960}}}})),
    op("SetPreviewFormat2", CALL(SetPreviewFormat2(ip, port, 3840, 1920, "h265", 25, 6000, 50)),
       mode(1),
       {"StopStreaming(8081)", "SetMainStreamFormat(3840, 1920, 0, 25, 25, 6000, 50, 8081)",
        "StartStreaming(8081)"},
       at_port({{"current_resolution", {{"width", 3840}, {"height", 1920}}},
                {"encode_type", "h265"},
                {"framerate", 25},
                {"bitrate", 6000},
                {"gop", 50}})),
    op("Update1220Firmware", CALL(Update1220Firmware(ip, port, "/fw/a.img")), {},
       {"Update1220(/fw/a.img, 8081)"}, at_port({})),
    op("Update1230Firmware7261", CALL(Update1230Firmware(ip, port, "1", "2", "3")), model("Q07261"),
       {"Update1230_7261(1, 2, 3, 8081)"}, at_port({})),
    op("Update1230Firmware6127", CALL(Update1230Firmware(ip, port, "1", "2", "3")), model("Q06127"),
       {"Update1230_6127(1, 2, 3, 8081)"}, at_port({})),
    op("Update1230Firmware4932", CALL(Update1230Firmware(ip, port, "1", "2", "3")), model("Q04932"),
       {"Update1230_4932(1, 2, 3, 8081)"}, at_port({})),
    op("Update1230FirmwareUnknownModule", CALL(Update1230Firmware(ip, port, "1", "2", "3")),
       model("Q09999"), {}, at_port({})),
    // The 1230 files come first in the call and the 1220 image first in the request.
    op("UpdateFirmwareAll", CALL(UpdateFirmwareAll(ip, port, "1", "2", "3", "img")), {},
       {"UpdateFWAll(img, 1, 2, 3, 8081)"}, at_port({})),
    op("GetUpdateProgress", CALL(GetUpdateProgress(ip, port)), {}, {"GetUpdateProgress(8081)"},
       at_port({})),
    op("SetStaticIP", CALL(SetStaticIP(ip, port, "10.1.1.2", "10.1.1.1", "255.255.0.0")), {},
       {"SetStaticIp(10.1.1.2, 10.1.1.1, 255.255.0.0, 8081)"},
       at_port({{"static_ip", "10.1.1.2"}, {"gateway", "10.1.1.1"}, {"mask", "255.255.0.0"}})),
    op("SetDHCP", CALL(SetDHCP(ip, port)), {}, {"SetDhcp(8081)"}, at_port({})),
    op("GetIMRXVersion", CALL(GetIMRXVersion(ip, port)), {}, {"GetFwVer1220_1230(8081)"},
       at_port({})),
    // After a reboot the next settings query fetches everything again.
    op("RebootCamera", CALL(RebootCamera(ip, port)), complete, {"Reboot(8081)"},
       at_port({{"got_param", false}})),
    op("GetCameraHealthAndUsage", CALL(GetCameraHealthAndUsage(ip, port)), {},
       {"GetCameraState(8081)"}, at_port({})),
    op("GetCameraHealthAndUsage_stored", CALL(GetCameraHealthAndUsage_stored(ip, port)),
       [](CAM_PARAM& r) {
           r.process_ok = r.in_preview = true;
           r.cpu_usage = 12.5f;
           r.memory_usage = 40.25f;
           r.mode = 3;
       },
       {}, {}, {"health 10.0.0.5 1 12.5 40.25 1 3"}),
    op("GetGyroAndAccel", CALL(GetGyroAndAccel(ip, port)), {}, {"GetGyroAndAccel(8081)"},
       at_port({})),
    op("TakeScreenShot", CALL(TakeScreenShot(ip, port)), {}, {"TakeScreenShot(8081)"}, at_port({})),
    op("SetSyslogEnable", CALL(SetSyslogEnable(ip, port, "10.1.1.9", 515, 1)), {},
       {"SetSyslogEnable(10.1.1.9, 515, 1, 8081)"},
       at_port(
           {{"enable_log_server", true}, {"log_server_ip", "10.1.1.9"}, {"log_server_port", 515}})),
    op("EnableGyro", CALL(EnableGyro(ip, port, true)), {}, {"EnableGyro(8081)"}, at_port({})),
    op("DisableGyro", CALL(EnableGyro(ip, port, false)), {}, {"DisableGyro(8081)"}, at_port({})),
    op("EnableAuth", CALL(EnableAuth(ip, port, true)), {}, {"SetAuthEnable(true, 8081)"},
       at_port({{"auth_enabled", true}})),
    // The ports are stored as given; the command goes to the camera's current port.
    op("SetCameraPorts", CALL(SetCameraPorts(ip, 8080, port, 4443, 5554)), {},
       {"SetCameraPorts(8081, 4443, 5554, 8080)"},
       at_port({{"https_port", 4443}, {"rtsp_port", 5554}})),
    // A method of the handler only, with no C export.
    op("SendCmdLine", CALL(Access::handler().SendCmdLine(ip, port, "uptime")), {},
       {"SendCmdLine(uptime, 8081)"}, at_port({})),
    op("GetCameraSettings", CALL(GetCameraSettings(ip, port, false)), {}, kRefresh, at_port({})),
    op("GetCameraSettingsForced", CALL(GetCameraSettings(ip, port, true)), complete, kRefresh,
       at_port({{"got_param", false}})),
    // Complete settings are reported at once, without asking the camera.
    op("GetCameraSettingsComplete", CALL(GetCameraSettings(ip, port, false)), complete, {},
       at_port({}), {"params"}),
};

// Host callbacks other than log lines, parameter documents cut to their kind.
std::vector<std::string> callbacks_seen() {
    std::vector<std::string> seen;
    for (const std::string& line : HostEvents::instance().lines()) {
        if (line.rfind("params ", 0) == 0)
            seen.push_back("params");
        else if (line.rfind("log ", 0) != 0)
            seen.push_back(line);
    }
    return seen;
}

class Operations : public HandlerTest, public testing::WithParamInterface<Operation> {};

TEST_P(Operations, ChangeTheDocumentAtOnceAndSendTheirCallsInOrder) {
    const Operation& op = GetParam();
    Access::ensure(kIp);
    Access::hold(kIp);
    if (op.given) Access::edit(kIp, op.given);
    const json before = document();
    events().clear();
    op.call(kIp, kPort);
    EXPECT_EQ(callbacks_seen(), op.events);
    EXPECT_EQ(changed_members(before, document()),
              op.changes.is_null() ? json::object() : op.changes);

    answer_everything();
    Access::hold(kIp, false);
    wait_for_marker();
    EXPECT_EQ(camera_calls(), op.calls);
}

INSTANTIATE_TEST_SUITE_P(CApi, Operations, testing::ValuesIn(kOperations),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(OperationsWithoutClientLibrary, StoreNothingAndReportOnlyTheStoredValues) {
    testing::internal::CaptureStdout();  // the loader reports its failure there
    Init("/nonexistent/client/dir");
    testing::internal::GetCapturedStdout();
    HostEvents::instance().clear();
    HostEvents::install();
    for (const Operation& op : kOperations) {
        const json before = document();
        op.call(kIp, kPort);
        EXPECT_EQ(changed_members(before, document()), json::object()) << op.name;
    }
    GetCameraHealthAndUsage_stored(kIp, kPort);
    EXPECT_TRUE(HostEvents::instance().has_line("health 10.0.0.5 0 0 0 0 0"));
    Destroy();
}

using CameraLimit = HandlerTest;

TEST_F(CameraLimit, TheHundredthCameraGetsNoWorkerAndItsOperationsSendNothing) {
    for (int i = 0; i < kMaxCameras; ++i) Access::ensure("10.1.0." + std::to_string(i));
    for (const Operation& op : kOperations) {
        events().clear();
        op.call(kIp, kPort);
        if (std::string(op.name) != "GetCameraHealthAndUsage_stored") {
            EXPECT_TRUE(
                events().has_line("log _ensure_camera_entry_exits thread id may exceeded 99"))
                << op.name;
        }
    }
    // The first camera still works, and nothing ever went to the hundredth.
    SetBrightness("10.1.0.0", 8080, 1);
    ASSERT_TRUE(client().wait_for_call("SetBrightness(10.1.0.0, 1, 8080)"));
    for (const std::string& line : client().calls()) EXPECT_EQ(line.find(kIp), std::string::npos);
}

}  // namespace
