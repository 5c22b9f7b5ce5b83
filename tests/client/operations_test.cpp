// Every client operation, run in order against one simulated camera: the one
// request the camera received, the answer handed over and the camera's change.
// Later rows read back what earlier rows set.
#include <functional>
#include <thread>

#include "client_harness.h"
#include "support/layouts.h"

namespace osctest {
namespace {

using nlohmann::json;
using C = oscclient::OscClient;

// A row's call as text (for the trace) and as code, on the test's camera.
#define OP(call) #call, [](C & c, const char* ip, int p) { return c.call; }

// An answer with a "state" text ("done") is expected whole, any other by the
// members given; one with a reason is a failure. The camera receives one
// request, named `command` or the answer's name (none when `command` is "").
struct Operation {
    const char* call_text;
    std::function<int(C&, const char*, int)> call;
    json answer;
    const char* changed = nullptr;  // JSON pointer into the camera's snapshot ...
    json value = nullptr;           // ... and the value found there afterwards
    const char* command = nullptr;  // what the camera received, when not answer["name"]
    void (*before)(oscsim::CameraSim&) = nullptr;  // the camera's state or faults first
};

Operation op(const char* call_text, std::function<int(C&, const char*, int)> call, json answer,
             const char* changed = nullptr, json value = nullptr, const char* command = nullptr,
             void (*before)(oscsim::CameraSim&) = nullptr) {
    return {call_text, std::move(call), std::move(answer), changed, std::move(value),
            command,   before};
}

json set_ok(const char* func) {
    return {{"name", "camera.setOptions"}, {"state", "done"}, {"func", func}};
}
json got(json options) {
    return {{"name", "camera.getOptions"}, {"results", {{"options", std::move(options)}}}};
}
json read_back(const char* option, json value) {
    json answer = got({{option, std::move(value)}});
    answer["state"] = "done";
    return answer;
}
json cmdline(const char* func, json results = nullptr) {
    json answer = {{"name", "camera._cmdLine"}, {"func", func}};
    if (!results.is_null()) answer["results"] = std::move(results);
    return answer;
}
json lines(const char* func, json response) {
    return cmdline(func, {{"response", std::move(response)}});
}
json health(const char* func, json options) {
    return cmdline(func, {{"options", std::move(options)}});
}
json refused(const char* name, const char* func, const char* reason) {
    return {{"name", name}, {"func", func}, {"reason", reason}};
}

video_layout_format one_region_layout() {
    video_layout_format layout = source_layout(1280, 720, {{10, 20, 300, 400, 0, 0, 1280, 720, 1}});
    layout.roiParam[1] = {1, 1, 1, 1, 1, 1, 1, 1, 1};  // beyond roiNum: not sent
    return layout;
}

// A camera may name the capture command its id belongs to.
void taken_as_picture(oscsim::CameraSim& camera) {
    camera.update_state([](oscsim::CameraState& s) {
        for (auto& capture : s.captures) capture.second = {{}, "camera.takePicture"};
    });
}

void captures_at_once(oscsim::CameraSim& camera) {
    camera.update_state([](oscsim::CameraState& s) { s.capture_time = {}; });
}

void server_error(oscsim::CameraSim& camera) {
    oscsim::Faults faults;
    faults.server_error = true;
    camera.set_faults(faults);
}

// A fresh camera shows the two halves of its picture side by side.
json half(int src_x, int dst_x, int projection) {
    return {{"srcX", src_x}, {"srcY", 0},     {"srcW", 1920},
            {"srcH", 1920},  {"dstX", dst_x}, {"dstY", 0},
            {"dstW", 960},   {"dstH", 1080},  {"projection", projection}};
}

std::vector<Operation> session(int port) {
    return {
        op(OP(GetROI(ip, p)),
           got({{"_roi", {{"roiNum", 2}, {"roiParam", {half(0, 0, 0), half(1920, 960, 1)}}}}})),
        op(OP(SetBrightness(ip, 7, p)), set_ok("SetBrightness"), "/options/_brightness", 7),
        op(OP(SetContrast(ip, 61, p)), set_ok("SetContrast"), "/options/_contrast", 61),
        op(OP(SetSaturation(ip, 33, p)), set_ok("SetSaturation"), "/options/_saturation", 33),
        op(OP(SetAWB(ip, 4200, p)), set_ok("SetAWB"), "/options/_awb", 4200),
        op(OP(SetAutoAWB(ip, 0, p)), set_ok("SetAutoAWB"), "/options/_autoAwb", 0),
        op(OP(SetSharpness(ip, 80, p)), set_ok("SetSharpness"), "/options/_sharpness", 80),
        op(OP(SetAntiFlicker(ip, 2, p)), set_ok("SetAntiFlicker"), "/options/_antiflicker", 2),
        op(OP(SetBitrate(ip, 6000, p)), set_ok("SetBitrate"), "/options/_fileFormatPreview/0/qp",
           "qp(22,45);rc(6000000,60)"),
        op(OP(GetQPpreview(ip, p)), lines("GetQpPreview", {"6000000 60 22 45"})),
        op(OP(SetImrxMode(ip, 3, p)), set_ok("SetImrxMode"), "/options/_imrxMode", 3),
        op(OP(GetImrxMode(ip, p)), read_back("_imrxMode", 3)),
        op(OP(SetCameraPlacement(ip, true, p)), set_ok("SetCameraPlacement"),
           "/options/_cameraPlacement", 1),
        op(OP(GetCameraPlacement(ip, p)), read_back("_cameraPlacement", 1)),
        op(OP(SetHDRValue(ip, 2, p)), set_ok("SetHDR"), "/options/hdr", 2),
        op(OP(GetHdr(ip, p)), read_back("hdr", 2)),
        op(OP(SetWDRValue(ip, 3, p)), set_ok("SetWDR"), "/options/_wdr", 3),
        op(OP(GetWdr(ip, p)), read_back("_wdr", 3)),
        op(OP(SetTiltShift(ip, -4, p)), set_ok("SetTillShift"), "/options/_tiltShift", -4),
        op(OP(SetAuthEnable(ip, true, p)), set_ok("SetAuthEnable"), "/options/_authEnable", true),
        op(OP(GetAuthEnable(ip, p)), lines("GetAuthEnable", {"1"})),
        op(OP(EnableGyro(ip, p)), set_ok("GyroEnable"), "/options/_gyro", true),
        op(OP(GetGyroAndAccel(ip, p)), cmdline("GetGyroAndAccel")),
        op(OP(DisableGyro(ip, p)), set_ok("DisableGyro"), "/options/_gyro", false),
        op(OP(SetSyslogEnable(ip, "127.0.0.9", 5514, 1, p)), set_ok("SetSyslogEnable"),
           "/options/_syslog", {{"enable", true}, {"server", "127.0.0.9"}, {"port", 5514}}),
        op(OP(GetSyslogEnable(ip, p)), lines("GetSyslogSettings", {"1", "5514", "127.0.0.9"})),
        op(OP(SetStaticIp(ip, "127.0.0.20", "127.0.0.254", "255.255.255.0", p)),
           set_ok("SetStaticIp"), "/options/_network/address", "127.0.0.20"),
        op(OP(GetNetSetting(ip, p)),
           lines("GetEthernetSettings", {"static", "127.0.0.20", "255.255.255.0", "127.0.0.254"})),
        op(OP(SetDhcp(ip, p)), set_ok("SetDhcp"), "/options/_network/mode", "dhcp"),
        op(OP(SetStreamParam(ip, 5760, 2880, 0, 15, p)), set_ok("SetFormat"),
           "/options/_fileFormatPreview/0/width", 5760),
        op(OP(SetMainStreamFormat(ip, 3840, 1920, 0, 25, 25, 8000, 50, p)), set_ok("SetFormat"),
           "/options/_fileFormatPreview/0/qp", "qp(22,45);rc(8000000,50)"),
        op(OP(SetROI(ip, p, one_region_layout())), set_ok("SetROI"), "/options/_roi/roiParam/0",
           R"({"srcX":10,"srcY":20,"srcW":300,"srcH":400,"dstX":0,"dstY":0,"dstW":1280,)"
           R"("dstH":720,"projection":1})"_json),
        op(OP(GetROI(ip, p)), got({{"_roi", {{"roiNum", 1}, {"dstWidth", 1280}}}})),
        op(OP(SetROI_Json(ip, R"({"srcWidth":3840,"roiNum":0,"roiParam":[]})", p)),
           set_ok("SetROI"), "/options/_roi/roiNum", 0),
        // Refused before sending: the camera receives nothing.
        op(OP(SetROI_Json(ip, "{not json", p)),
           refused("camera.setOptions", "SetROI", "Invalid ROI JSON"), nullptr, nullptr, ""),
        op(OP(GetServicePorts(ip, p)),
           read_back("_servicePort", {{"http", port}, {"https", 443}, {"rtsp", 554}})),
        op(OP(GetCameraName(ip, p)), read_back("_cameraName", "camera-1")),
        op(OP(GetUpdateProgress(ip, p)),
           read_back("_updateStatus", {{"progress", 0}, {"target", ""}, {"description", "idle"}})),
        op(OP(GetOptionsAll(ip, p)),
           got(R"({"_brightness":7,"_brightnessSupport":{"min":0,"max":100},)"
               R"("_imrxVersion":{"AST1220":"AST107_20240115"}})"_json)),
        op(OP(GetFwVer1220ByIp(ip, p)), lines("GetFwVer1220", {"AST107_20240115"})),
        op(OP(GetFwVer1220_1230(ip, p)),
           read_back("_imrxVersion",
                     {{"AST1220", "AST107_20240115"}, {"AST1235", "AST1235_Q07261_2.4.1"}}),
           nullptr, nullptr, "camera._cmdLine"),
        op(OP(GetProcessList(ip, p)),
           health("GetProcessList", {{"ProcessList", {{"state", "OK"}}}})),
        op(OP(GetCpuUsage(ip, p)), health("GetCpuUsage", {{"CpuUsage", {{"CPU used", 42.5}}}})),
        op(OP(GetMemoryUsage(ip, p)), health("GetMemoryUsage", {{"MemoryUsage", json::object()}})),
        op(OP(GetAst1230UsbList(ip, p)), cmdline("GetAst1230UsbList")),
        op(OP(AstParamRwSave(ip, p)), lines("AstParamRwSave", {"saved"}),
           "/saved_options/_contrast", 61),
        op(OP(SendCmdLine(ip, "frobnicate now", p)),
           lines("SendCmdLine", {"sh: frobnicate: not found"})),
        op(OP(GetInfo(ip, p)),
           R"({"manufaturer":"OSC Camera Simulator","_chipId":"0x7a3c0001","model":"Q07261",)"
           R"("serialNumber":"SIM0001"})"_json,
           nullptr, nullptr, "GET /osc/info"),
        op(OP(StartStreaming(ip, p)), {{"name", "camera._getLivePreview"}, {"state", "done"}},
           "/streaming", true),
        op(OP(GetCameraState(ip, p)),
           R"({"name":"state","state":{"imrxMode":3,"mode":["inPreview"],)"
           R"("ProcessList":{"state":"OK"}}})"_json,
           nullptr, nullptr, "POST /osc/state {}"),
        op(OP(StopStreaming(ip, p)), {{"name", "camera._stopLivePreview"}}, "/streaming", false),
        op(OP(SetBrightness(ip, 1000, p)),
           refused("camera.setOptions", "SetBrightness", "_brightness out of range"),
           "/options/_brightness", 7),
        op(OP(SetStreamParam(ip, 1234, 567, 0, 15, p)),
           refused("camera.setOptions", "SetFormat", "unsupported preview resolution"),
           "/options/_fileFormatPreview/0/width", 3840),
        op(OP(GetCaptureStatus(ip, p)),
           refused("camera.startCapture", "GetCaptureStatus", "unknown command id "), nullptr,
           nullptr, R"(POST /osc/commands/status {"id":""})"),
        op(OP(TakeScreenShot(ip, p)),
           {{"name", "camera.startCapture"}, {"func", "TakeSrcScreenShotByIp"}, {"id", 1}}),
        op(OP(GetCaptureStatus(ip, p)),
           {{"name", "camera.takePicture"}, {"func", "GetCaptureStatus"}, {"id", "1"}}, nullptr,
           nullptr, R"(POST /osc/commands/status {"id":"1"})", taken_as_picture),
        // Done at once: no id, nothing to ask about later.
        op(OP(TakeScreenShot(ip, p)),
           R"({"name":"camera.startCapture","func":"TakeSrcScreenShotByIp","results":{}})"_json,
           nullptr, nullptr, nullptr, captures_at_once),
        op(OP(SetBrightness(ip, 9, p)),
           R"({"name":"camera.setOptions","reason":"Request exception",)"
           R"("cause":"HTTP 500: internal error"})"_json,
           "/options/_brightness", 7, nullptr, server_error),
        // Last: the camera moves to its new HTTP port once it has answered.
        op(OP(SetCameraPorts(ip, 8081, 8443, 8554, p)), set_ok("SetServicePorts"),
           "/options/_servicePort", {{"http", 8081}, {"https", 8443}, {"rtsp", 8554}}),
    };
}

// A command by its name, any other request with its body.
std::string received(const oscsim::LoggedRequest& r) {
    if (!r.command.empty()) return r.command;
    return r.method + " " + r.path + (r.body.empty() ? "" : " " + r.body);
}

TEST_F(ClientTest, EveryOperationSendsOneRequestAndHandsOverItsAnswer) {
    sim->update_state([](oscsim::CameraState& s) { s.cpu_used = 42.5; });
    const int first_port = port();
    for (const Operation& op : session(port())) {
        SCOPED_TRACE(op.call_text);
        Recorder::get().reset();
        sim->set_faults({});
        if (op.before) op.before(*sim);
        sim->clear_requests();
        ASSERT_EQ(op.call(*client, ip(), port()), 0);
        const Answer a = one_answer();
        EXPECT_EQ(a.status, op.answer.contains("reason") ? 1 : 0);
        EXPECT_EQ(a.ip, ip());
        const json doc = a.doc();
        if (op.answer.contains("state") && op.answer["state"].is_string()) {
            EXPECT_EQ(doc, op.answer);
        } else {
            EXPECT_TRUE(has_members(doc, op.answer));
        }
        const std::string command = op.command ? op.command : op.answer.value("name", "");
        const auto requests = sim->requests();
        ASSERT_EQ(requests.size(), command.empty() ? 0u : 1u);
        if (!command.empty()) {
            EXPECT_EQ(received(requests[0]), command);
        }
        if (op.changed) {
            EXPECT_EQ(sim->snapshot().at(json::json_pointer(op.changed)), op.value);
        }
    }
    // Once moved, the camera no longer answers on its old port.
    for (int i = 0; i < 100 && port() != 8081; ++i) std::this_thread::sleep_for(20ms);
    ASSERT_EQ(port(), 8081);
    Recorder::get().reset();
    client->GetCameraName(ip(), first_port);
    EXPECT_EQ(one_answer().status, 1);
}

TEST_F(ClientTest, RebootAnswersThenTheCameraIsAwayAndComesBackUnsaved) {
    client->SetSharpness(ip(), 90, port());
    client->Reboot(ip(), port());
    auto answers = Recorder::get().wait_answers(2);
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[1].doc(), (json{{"name", "reboot"}, {"state", "done"}}));
    bool away = false;
    bool back = false;
    for (std::size_t n = 3; !back && n < 200; ++n) {
        client->GetCameraName(ip(), port());
        answers = Recorder::get().wait_answers(n);
        ASSERT_EQ(answers.size(), n);
        back = answers.back().status == 0;
        if (!back) {
            away = true;
            EXPECT_EQ(answers.back().doc()["reason"], "Request exception");
            std::this_thread::sleep_for(20ms);
        }
    }
    EXPECT_TRUE(away);
    EXPECT_TRUE(back);
    EXPECT_EQ(sim->snapshot()["options"]["_sharpness"], 50);
}

}  // namespace
}  // namespace osctest
