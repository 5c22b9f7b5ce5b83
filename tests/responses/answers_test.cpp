// Every answer shape the camera gives, one row each, delivered through the
// client's callback: the host callbacks it causes, the follow-up client calls,
// the one log line when it is not handled, and the change to the document.
#include <functional>

#include "support/handler_fixture.h"

namespace {

struct Answer {
    const char* name;
    std::function<void()> given;  // set-up through the C interface or the record; may be empty
    std::string text;
    int status;
    std::vector<std::string> effects;  // host callbacks, then "call ..." lines
    json changes = json::object();     // document members that change, new values
};

Answer answer(const char* name, std::function<void()> given, std::string text, int status,
              std::vector<std::string> effects, json changes = json::object()) {
    return {name,   std::move(given),   std::move(text),
            status, std::move(effects), std::move(changes)};
}

void PrintTo(const Answer& a, std::ostream* os) {
    *os << a.name;
}

auto given(std::function<void(CAM_PARAM&)> edit) {
    return [edit] { Access::edit(kIp, edit); };
}
std::string upload(const char* file) {
    return std::string(R"({"name": "camera.uploadfile","func": "UploadFile","results": )") +
           R"({"options": {"uploadfile": )" + file + R"(}},"state": "done"})";
}

const std::string kUpdateStatus = options_answer(
    {{"_updateStatus", {{"progress", 40}, {"target", 2}, {"description", "flashing"}}}});
const std::string kUpdateStatusByName = options_answer(
    {{"_updateStatus", {{"progress", 55}, {"target", "ast"}, {"description", "copy"}}}});
const std::string kStatusWithoutResults = R"({"name":"camera.getOptions","_updateStatus":{}})";
const json kOneRegion = R"({"srcWidth":3840,"srcHeight":1920,"dstWidth":1920,"dstHeight":960,
  "queuePolicy":0,"roiNum":1,"roiParam":[{"srcX":1,"srcY":2,"srcW":3,"srcH":4,"dstX":5,"dstY":6,
  "dstW":7,"dstH":8,"projection":0}]})"_json;
const std::string kFullState =
    R"({"name":"state","state":{"imrxMode":1,"mode":["inPreview"],"ProcessList":{"state":"OK"},)"
    R"("CpuUsage":{"CPU used":12.5},"MemoryUsage":{"Total":200,"used":50}}})";
const std::string kStateWithoutMode =
    R"({"name":"state","state":{"imrxMode":1,"ProcessList":{"state":"OK"},)"
    R"("CpuUsage":{"CPU used":1},"MemoryUsage":{"Total":4,"used":1}}})";
const std::string kFailedProcess =
    cmdline_answer("GetProcessList", {{"options", {{"ProcessList", {{"state", "FAIL"}}}}}});

const std::vector<Answer> kAnswers = {
    // Firmware update texts
    answer("UpdateMessage", {}, "[Fw Update Msg] writing flash", 0,
           {"progress 10.0.0.5 0 [Fw Update Msg] writing flash"}),
    answer("UpdateStepFailures", {}, "[FW update next] file not found, Upload Failed", 0,
           {"result 10.0.0.5 UpdateFirmwareAll failed File not found error.",
            "result 10.0.0.5 UpdateFirmwareAll failed File upload failed."}),
    answer("UpdatingStatus", {}, "[FW updating] " + kUpdateStatus, 0,
           {"log " + kUpdateStatus, "progress 10.0.0.5 40 2 : flashing"}),
    answer("UpdatingStatusOtherSpelling", {}, "[FW Updating] " + kUpdateStatusByName, 0,
           {"log " + kUpdateStatusByName, "progress 10.0.0.5 55 ast : copy"}),
    answer("UpdatingStatusWithoutResults", {}, "[FW updating] " + kStatusWithoutResults, 0,
           {"log " + kStatusWithoutResults}),
    answer("UpdateEnd", {}, "[FW update end] ok", 0, {"progress 10.0.0.5 100 [FW update end] ok"}),
    answer("UploadedImage", {}, upload("update.img"), 0, {"upload 10.0.0.5 true"}),
    answer("UploadedScript", {}, upload("ast_update_1230_4932.sh"), 0, {"upload 10.0.0.5 false"}),
    answer("UploadedUnknownFile", {}, upload("other.bin"), 0, {}),
    // Device state
    answer("RebootDone", {}, R"({"name":"reboot","state":"done"})", 0, {"reboot 10.0.0.5 true"}),
    answer("LivePreviewFailed", {}, R"({"name":"camera._getLivePreview","state":"error"})", 0,
           {"result 10.0.0.5 StartStreaming failed Failed."}),
    answer("StateComplete", {}, kFullState, 0, {"health 10.0.0.5 1 12.5 25 1 1"}, {{"mode", 1}}),
    answer("StateMissingParts", {}, R"({"name":"state","state":{"mode":["idle"]}})", 0,
           {"call GetImrxMode(8081)", "call GetProcessList(8081)", "call GetCpuUsage(8081)",
            "call GetMemoryUsage(8081)"}),
    answer("StateWithoutMode", {}, kStateWithoutMode, 0,
           {"log get camera state api without mode parameter!!!"}, {{"mode", 1}}),
    // Screenshot: the capture id from the start, then polls until done
    answer("CaptureStarted", {}, R"({"name":"camera.startCapture","func":"TakeScreenShot","id":7})",
           0, {"call GetCaptureStatus(8081)"}),
    answer("CaptureInProgress", given([](CAM_PARAM& r) { r.capture_id = "7"; }),
           R"({"name":"camera.startCapture","func":"GetCaptureStatus","state":"inProgress"})", 0,
           {"call GetCaptureStatus(8081)"}),
    answer("CaptureDone", given([](CAM_PARAM& r) { r.capture_id = "7"; }),
           R"({"name":"camera.startCapture","func":"GetCaptureStatus","state":"done"})", 0,
           {"result 10.0.0.5 TakeScreenShot ok http://10.0.0.5/tmp/capture7.jpeg"}),
    answer("CaptureDoneWithId", {},
           R"({"name":"camera.startCapture","func":"GetCaptureStatus","state":"done","id":"9"})", 0,
           {"result 10.0.0.5 TakeScreenShot ok http://10.0.0.5/tmp/capture9.jpeg"}),
    // Command-line results (network, syslog, authentication and the OEM
    // version: see the full refresh)
    answer("ProcessListFailed", {}, kFailedProcess, 0,
           {"log GetProcessList failed: " + kFailedProcess}),
    answer("GyroAndAccel", {},
           cmdline_answer("GetGyroAndAccel", {{"response", {"1,2,3", "4,5,6"}}}), 0,
           {"result 10.0.0.5 GetGyroAndAccel ok 1,2,3;4,5,6"}),
    answer("GyroAndAccelEmpty", {},
           cmdline_answer("GetGyroAndAccel", {{"response", json::array()}}), 0,
           {"result 10.0.0.5 GetGyroAndAccel failed No data."}),
    // Up to generation 7 the encoder settings complete the parameters.
    answer("QpPreviewOldGeneration", given([](CAM_PARAM& r) { r.ast1220_ver = "AST_07_x"; }),
           cmdline_answer("GetQpPreview", {{"response", {"6000000 45 1"}}}), 0, {"params 10.0.0.5"},
           {{"bitrate", 6000}, {"gop", 45}, {"got_param", true}}),
    answer("QpPreviewNewGeneration", given([](CAM_PARAM& r) { r.ast1220_ver = "AST_08_x"; }),
           cmdline_answer("GetQpPreview", {{"response", {"6000000 45 1"}}}), 0, {},
           {{"bitrate", 6000}, {"gop", 45}, {"got_param", true}}),
    answer("FwVer1220UpToGeneration8", {},
           cmdline_answer("GetFwVer1220", {{"response", {"AST_08_a"}}}), 0,
           {"call GetQPpreview(8081)"}, {{"ast1220_ver", "AST_08_a"}}),
    answer("FwVer1220Imrx", {}, cmdline_answer("GetFwVer1220", {{"response", {"IMRX_a"}}}), 0,
           {"call GetFwVer1220_1230(8081)"}, {{"ast1220_ver", "IMRX_a"}}),
    answer("MemoryUsage", given([](CAM_PARAM& r) { r.cpu_usage = 3.5f; }),
           cmdline_answer("GetMemoryUsage",
                          {{"options", {{"MemoryUsage", {{"Total", 400}, {"used", 100}}}}}}),
           0, {"health 10.0.0.5 0 3.5 25 0 0"}),
    // Only an asked-for OEM version is stored (the full refresh asks).
    answer("OemVersionNotAsked", {}, cmdline_answer("SendCmdLine", {{"response", {"OEM 2.4"}}}), 0,
           {}),
    // Acknowledged settings, under the exported name the host called
    answer("SetOptionsAcknowledged", {}, R"({"name":"camera.setOptions","func":"SetTillShift"})", 0,
           {"result 10.0.0.5 SetTiltShift ok "}),
    answer("ModeChangeToRegions", given([](CAM_PARAM& r) { r.mode = 2; }),
           R"({"name":"camera.setOptions","func":"SetImrxMode"})", 0,
           {"result 10.0.0.5 SetMode ok ", "call GetROI(8081)", "call GetOptionsAll(8081)"}),
    answer("ModeChangeWithoutRegions", given([](CAM_PARAM& r) { r.mode = 1; }),
           R"({"name":"camera.setOptions","func":"SetImrxMode"})", 0,
           {"result 10.0.0.5 SetMode ok ", "call GetOptionsAll(8081)"}),
    // Options replies (every member together: see the full refresh)
    answer("ModeAsked", [] { GetMode(kIp, kPort); }, options_answer({{"_imrxMode", 1}}), 0,
           {"result 10.0.0.5 GetMode ok 1"}, {{"mode", 1}}),
    answer("ModeNotAsked", {}, options_answer({{"_imrxMode", 1}}), 0, {}, {{"mode", 1}}),
    answer("RegionsAsked",
           [] {
               Access::edit(kIp, [](CAM_PARAM& r) { r.mode = 2; });
               GetROI(kIp, kPort);
           },
           options_answer({{"_roi", kOneRegion}}), 0,
           {"result 10.0.0.5 GetROI ok " + json{{"_roi", kOneRegion}}.dump()},
           {{"_roi", kOneRegion}}),
    answer("RegionsNotAsked", given([](CAM_PARAM& r) { r.mode = 2; }),
           options_answer({{"_roi", kOneRegion}}), 0, {}, {{"_roi", kOneRegion}}),
    // From generation 8 on, the AST1230 version needs a query of its own.
    answer("ModuleVersionsIncomplete", {},
           options_answer({{"_imrxVersion", {{"AST1220", "AST_09_b"}}}}), 0,
           {"call GetFwVer1220_1230(8081)"}, {{"ast1220_ver", "AST_09_b"}}),
    answer("ModuleVersionsComplete", {},
           options_answer({{"_imrxVersion", {{"AST1220", "AST_07_b"}, {"AST1235", "Q1"}}}}), 0,
           {"params 10.0.0.5"},
           {{"ast1220_ver", "AST_07_b"}, {"ast1230_ver", "Q1"}, {"got_param", true}}),
    // A pending version request takes the complete set instead of the document.
    answer("VersionsAsked", [] { GetIMRXVersion(kIp, kPort); },
           options_answer({{"_imrxVersion", {{"AST1220", "AST_07_b"}, {"AST1235", "Q1"}}}}), 0,
           {R"(result 10.0.0.5 GetIMRXVersion ok {"ast1220_ver":"AST_07_b","ast1230_ver":"Q1"})"},
           {{"ast1220_ver", "AST_07_b"}, {"ast1230_ver", "Q1"}}),
    answer("UpdateStatusQueried", {},
           options_answer({{"_updateStatus", {{"progress", 30}, {"description", "x"}}}}), 0,
           {"progress 10.0.0.5 30  : x"}),
    // Identity members ride on any answer; some models are asked for their OEM version.
    answer("DeviceInformation", {},
           R"({"serialNumber":"S1","model":"M3VX27164","manufaturer":"Acme","_chipId":"C1"})", 0,
           {"call SendCmdLine(ast_param g version:ruvo:version, 8081)"},
           {{"serial", "S1"}, {"model", "M3VX27164"}, {"manufacturer", "Acme"}, {"chipid", "C1"}}),
    answer("IdentityOnAnotherAnswer", {},
           R"({"name":"reboot","state":"busy","model":"R58Q306.00"})", 0,
           {"call SendCmdLine(ast_param g version:all_firmware:version, 8081)"},
           {{"model", "R58Q306.00"}}),
    // Failed requests
    answer("RebootFailed", {}, R"({"name":"reboot"})", 1,
           {R"(log OscApi Error: {"name":"reboot"})", "reboot 10.0.0.5 false"}),
    answer("LivePreviewRequestFailed", {}, R"({"name":"camera._getLivePreview"})", 1,
           {R"(log OscApi Error: {"name":"camera._getLivePreview"})",
            "result 10.0.0.5 StartStreaming failed Failed"}),
    answer("SettingFailed", {}, R"({"func":"SetTillShift","reason":"busy"})", 1,
           {R"(log OscApi Error: {"func":"SetTillShift","reason":"busy"})",
            "result 10.0.0.5 SetTiltShift failed busy"}),
    // Out of range: one line, nothing stored
    answer("ValueOutOfRange", {}, options_answer({{"_wdr", 3000000000}}), 0,
           {"log response from 10.0.0.5 not handled: camera value out of range: 3000000000"}),
};

// Host callbacks without the intake's routine lines; documents cut to their camera.
std::vector<std::string> effects_seen() {
    std::vector<std::string> seen;
    for (const std::string& line : HostEvents::instance().lines()) {
        if (line.rfind("params ", 0) == 0) {
            seen.push_back(line.substr(0, line.find(' ', 7)));
        } else if (line.rfind("log response_ip: ", 0) != 0 &&
                   line.rfind("log response: ", 0) != 0 && line.rfind("log Thread ", 0) != 0) {
            seen.push_back(line);
        }
    }
    return seen;
}

class Answers : public HandlerTest, public testing::WithParamInterface<Answer> {};

TEST_P(Answers, CauseTheirCallbacksFollowUpsAndDocumentChanges) {
    const Answer& answer = GetParam();
    Access::ensure(kIp, kPort);
    answer_everything();  // follow-ups get an empty answer
    if (answer.given) answer.given();
    wait_for_marker();
    const json before = document();
    events().clear();
    client().clear();

    client().respond(answer.text, kIp, answer.status);
    ASSERT_TRUE(client().wait_idle());
    wait_for_marker();
    std::vector<std::string> effects = effects_seen();
    for (const std::string& call : camera_calls()) effects.push_back("call " + call);
    EXPECT_EQ(effects, answer.effects);
    EXPECT_EQ(changed_members(before, document()), answer.changes);
}

INSTANTIATE_TEST_SUITE_P(Camera, Answers, testing::ValuesIn(kAnswers),
                         [](const auto& info) { return std::string(info.param.name); });

// The camera's function names and the exported names the host hears, for
// failures and acknowledgements ("" where a name is never acknowledged).
struct FunctionName {
    const char *camera, *failure, *acknowledged;
};
const FunctionName kFunctionNames[] = {
    {"SetROI", "SetROI", "SetROI"},
    {"Update1220", "Update1220Firmware", "Update1220Firmware"},
    {"Update1230_6127", "Update1230Firmware", "Update1230Firmware"},
    {"Update1230_7261", "Update1230Firmware", "Update1230Firmware"},
    {"Update1230_4932", "Update1230Firmware", "Update1230Firmware"},
    {"SetBrightness", "SetBrightness", "SetBrightness"},
    {"SetContrast", "SetContrast", "SetContrast"},
    {"SetSaturation", "SetSaturation", "SetSaturation"},
    {"SetAWB", "SetAWB", "SetAWB"},
    {"SetAutoAWB", "SetAutoAWB", "SetAutoAWB"},
    {"SetSharpness", "SetSharpness", "SetSharpness"},
    {"SetAntiFlicker", "SetAntiFlicker", "SetAntiFlicker"},
    {"SetFormat", "SetPreviewFormat", "SetPreviewFormat"},
    {"SetImrxMode", "SetMode", "SetMode"},
    {"GetImrxMode", "GetMode", ""},
    {"GetFwVer1220_1230", "GetIMRXVersion", ""},
    {"GetFwVer1220", "GetIMRXVersion", ""},
    {"SetCameraPlacement", "SetVerticalFlip", "SetVerticalFlip"},
    {"SetHDR", "SetHDRValue", "SetHDRValue"},
    {"SetWDR", "SetWDRValue", "SetWDRValue"},
    {"SetTillShift", "SetTiltShift", "SetTiltShift"},
    {"SetAuthEnable", "EnableAuth", "EnableAuth"},
    {"GyroEnable", "EnableGyro", "EnableGyro"},
    {"DisableGyro", "EnableGyro", "EnableGyro"},
    {"SetSyslogEnable", "SetSyslogEnable", "SetSyslogEnable"},
    {"SetServicePorts", "SetCameraPorts", "SetCameraPorts"},
    {"TakeSrcScreenShotByIp", "TakeScreenShot", ""},
    {"Unknown", "", ""},
};

using FunctionNames = HandlerTest;

TEST_F(FunctionNames, FailuresAndAcknowledgementsNameTheExportedFunction) {
    Access::ensure(kIp);
    std::vector<CommandResult> expected;
    for (const FunctionName& name : kFunctionNames) {
        const std::string func = name.camera;
        client().respond(json{{"func", func}, {"reason", "r"}}.dump(), kIp, 1);
        client().respond(json{{"name", "camera.setOptions"}, {"func", func}}.dump(), kIp);
        expected.push_back({kIp, name.failure, false, "r"});
        expected.push_back({kIp, name.acknowledged, true, ""});
    }
    ASSERT_TRUE(client().wait_idle());
    std::vector<CommandResult> results = events().results();
    EXPECT_EQ(results, expected);
}

}  // namespace
