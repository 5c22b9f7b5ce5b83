// Option operations: the request reaches the camera, the camera's option
// changes, and the handler gets the acknowledgement with the camera-side name.
#include <functional>

#include "client_harness.h"

namespace osctest {
namespace {

using nlohmann::json;

struct SetterCase {
    const char* operation;
    std::function<int(oscclient::OscClient&, const char*, int)> call;
    const char* option;
    json expected;
    const char* func;
};

std::vector<SetterCase> setter_cases() {
    using C = oscclient::OscClient;
    return {
        {"SetBrightness", [](C& c, const char* ip, int p) { return c.SetBrightness(ip, 7, p); },
         "_brightness", 7, "SetBrightness"},
        {"SetContrast", [](C& c, const char* ip, int p) { return c.SetContrast(ip, 61, p); },
         "_contrast", 61, "SetContrast"},
        {"SetSaturation", [](C& c, const char* ip, int p) { return c.SetSaturation(ip, 33, p); },
         "_saturation", 33, "SetSaturation"},
        {"SetAWB", [](C& c, const char* ip, int p) { return c.SetAWB(ip, 4200, p); }, "_awb", 4200,
         "SetAWB"},
        {"SetAutoAWB", [](C& c, const char* ip, int p) { return c.SetAutoAWB(ip, 0, p); },
         "_autoAwb", 0, "SetAutoAWB"},
        {"SetSharpness", [](C& c, const char* ip, int p) { return c.SetSharpness(ip, 80, p); },
         "_sharpness", 80, "SetSharpness"},
        {"SetAntiFlicker", [](C& c, const char* ip, int p) { return c.SetAntiFlicker(ip, 2, p); },
         "_antiflicker", 2, "SetAntiFlicker"},
        {"SetBitrate", [](C& c, const char* ip, int p) { return c.SetBitrate(ip, 6000, p); },
         "_bitrate", 6000, "SetBitrate"},
        {"SetImrxMode", [](C& c, const char* ip, int p) { return c.SetImrxMode(ip, 3, p); },
         "_imrxMode", 3, "SetImrxMode"},
        {"SetCameraPlacement",
         [](C& c, const char* ip, int p) { return c.SetCameraPlacement(ip, true, p); },
         "_cameraPlacement", 1, "SetCameraPlacement"},
        {"SetHDRValue", [](C& c, const char* ip, int p) { return c.SetHDRValue(ip, 2, p); }, "hdr",
         2, "SetHDR"},
        {"SetWDRValue", [](C& c, const char* ip, int p) { return c.SetWDRValue(ip, 3, p); }, "_wdr",
         3, "SetWDR"},
        {"SetTiltShift", [](C& c, const char* ip, int p) { return c.SetTiltShift(ip, -4, p); },
         "_tiltShift", -4, "SetTillShift"},
        {"SetAuthEnable", [](C& c, const char* ip, int p) { return c.SetAuthEnable(ip, true, p); },
         "_authEnable", true, "SetAuthEnable"},
        {"EnableGyro", [](C& c, const char* ip, int p) { return c.EnableGyro(ip, p); }, "_gyro",
         true, "GyroEnable"},
        {"SetSyslogEnable",
         [](C& c, const char* ip, int p) { return c.SetSyslogEnable(ip, "127.0.0.9", 5514, 1, p); },
         "_syslog", json{{"enable", true}, {"server", "127.0.0.9"}, {"port", 5514}},
         "SetSyslogEnable"},
        {"SetStaticIp",
         [](C& c, const char* ip, int p) {
             return c.SetStaticIp(ip, "127.0.0.20", "127.0.0.254", "255.255.255.0", p);
         },
         "_network",
         json{{"mode", "static"},
              {"address", "127.0.0.20"},
              {"gateway", "127.0.0.254"},
              {"mask", "255.255.255.0"}},
         "SetStaticIp"},
        // Last: the camera moves to its new HTTP port once it has answered.
        {"SetCameraPorts",
         [](C& c, const char* ip, int p) { return c.SetCameraPorts(ip, 8081, 8443, 8554, p); },
         "_servicePort", json{{"http", 8081}, {"https", 8443}, {"rtsp", 8554}}, "SetServicePorts"},
    };
}

TEST_F(ClientTest, EverySetterChangesTheCameraAndAcknowledgesWithItsFunc) {
    for (const SetterCase& c : setter_cases()) {
        SCOPED_TRACE(c.operation);
        Recorder::get().reset();
        sim->clear_requests();
        EXPECT_EQ(c.call(*client, ip(), port()), 0);
        const Answer a = one_answer();
        EXPECT_EQ(a.status, 0) << a.text;
        EXPECT_EQ(a.ip, ip());
        EXPECT_EQ(a.doc(),
                  (json{{"name", "camera.setOptions"}, {"state", "done"}, {"func", c.func}}));
        EXPECT_EQ(sim->snapshot()["options"][c.option], c.expected);
        const auto requests = sim->requests();
        ASSERT_EQ(requests.size(), 1u);
        EXPECT_EQ(requests[0].command, "camera.setOptions");
    }
}

TEST_F(ClientTest, DisableGyroAndDhcpUseTheirOwnFuncs) {
    client->EnableGyro(ip(), port());
    client->DisableGyro(ip(), port());
    client->SetStaticIp(ip(), "127.0.0.20", "127.0.0.254", "255.0.0.0", port());
    client->SetDhcp(ip(), port());
    const auto answers = Recorder::get().wait_answers(4);
    ASSERT_EQ(answers.size(), 4u);
    EXPECT_EQ(answers[1].doc()["func"], "DisableGyro");
    EXPECT_EQ(answers[3].doc()["func"], "SetDhcp");
    const json snap = sim->snapshot();
    EXPECT_EQ(snap["options"]["_gyro"], false);
    EXPECT_EQ(snap["options"]["_network"]["mode"], "dhcp");
}

TEST_F(ClientTest, PreviewFormatsMergeIntoTheCurrentFormat) {
    client->SetStreamParam(ip(), 5760, 2880, 0, 15, port());
    auto answers = Recorder::get().wait_answers(1);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].doc()["func"], "SetFormat");
    json preview = sim->snapshot()["options"]["_fileFormatPreview"][0];
    EXPECT_EQ(preview["width"], 5760);
    EXPECT_EQ(preview["height"], 2880);
    EXPECT_EQ(preview["framerate"], 15);

    client->SetMainStreamFormat(ip(), 3840, 1920, 0, 25, 25, 8000, 50, port());
    answers = Recorder::get().wait_answers(2);
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[1].status, 0) << answers[1].text;
    preview = sim->snapshot()["options"]["_fileFormatPreview"][0];
    EXPECT_EQ(preview["framerate"], 25);
    EXPECT_EQ(preview["qp"], "qp(22,45);rc(8000000,50)");
}

TEST_F(ClientTest, RoiLayoutTravelsAsJson) {
    video_layout_format layout{};
    layout.srcWidth = 3840;
    layout.srcHeight = 1920;
    layout.dstWidth = 1280;
    layout.dstHeight = 720;
    layout.roiNum = 1;
    layout.roiParam[0] = {10, 20, 300, 400, 0, 0, 1280, 720, 1};
    layout.roiParam[1] = {1, 1, 1, 1, 1, 1, 1, 1, 1};  // beyond roiNum: not sent
    client->SetROI(ip(), port(), layout);
    const Answer a = one_answer();
    EXPECT_EQ(a.doc()["func"], "SetROI");
    const json roi = sim->snapshot()["options"]["_roi"];
    EXPECT_EQ(roi["dstWidth"], 1280);
    EXPECT_EQ(roi["roiNum"], 1);
    ASSERT_EQ(roi["roiParam"].size(), 1u);
    EXPECT_EQ(roi["roiParam"][0]["srcW"], 300);
    EXPECT_EQ(roi["roiParam"][0]["projection"], 1);
}

TEST_F(ClientTest, RoiJsonThatIsNotJsonFailsWithoutARequest) {
    client->SetROI_Json(ip(), "{not json", port());
    const Answer a = one_answer();
    EXPECT_NE(a.status, 0);
    EXPECT_EQ(
        a.doc(),
        (json{{"name", "camera.setOptions"}, {"func", "SetROI"}, {"reason", "Invalid ROI JSON"}}));
    EXPECT_TRUE(sim->requests().empty());

    Recorder::get().reset();
    client->SetROI_Json(ip(), R"({"srcWidth":3840,"roiNum":0,"roiParam":[]})", port());
    EXPECT_EQ(one_answer().status, 0);
    EXPECT_EQ(sim->snapshot()["options"]["_roi"]["roiNum"], 0);
}

TEST_F(ClientTest, RejectedValueReportsTheCameraMessage) {
    client->SetBrightness(ip(), 1000, port());
    const Answer a = one_answer();
    EXPECT_NE(a.status, 0);
    EXPECT_EQ(a.doc(), (json{{"name", "camera.setOptions"},
                             {"func", "SetBrightness"},
                             {"reason", "_brightness out of range"}}));
    EXPECT_EQ(sim->snapshot()["options"]["_brightness"], 50);
}

TEST_F(ClientTest, GetOptionsAllAsksForEveryOptionAndPassesTheAnswerOn) {
    client->GetOptionsAll(ip(), port());
    const Answer a = one_answer();
    EXPECT_EQ(a.status, 0);
    const json doc = a.doc();
    EXPECT_EQ(doc["name"], "camera.getOptions");
    const json& o = doc["results"]["options"];
    for (const char* key :
         {"_brightnessSupport", "_brightness", "_roi", "_imrxMode", "hdr", "_wdr", "_tiltShift",
          "_cameraPlacement", "_servicePort", "_imrxVersion", "_fileFormatPreviewSupport",
          "_fileFormatPreview", "_cameraName", "_autoAwbSupport", "_antiflicker"})
        EXPECT_TRUE(o.contains(key)) << key;
    EXPECT_FALSE(o.contains("_updateStatus"));
    EXPECT_EQ(o["_imrxVersion"]["AST1220"], "AST107_20240115");
    EXPECT_EQ(o["_servicePort"]["http"], port());
    EXPECT_NE(o["_fileFormatPreview"][0]["qp"].get<std::string>().find("rc(4000000,60)"),
              std::string::npos);
}

TEST_F(ClientTest, SingleOptionQueriesReadBackWhatWasSet) {
    struct Query {
        std::function<int()> call;
        const char* option;
    };
    client->SetHDRValue(ip(), 2, port());
    client->SetWDRValue(ip(), 1, port());
    client->SetImrxMode(ip(), 2, port());
    client->SetCameraPlacement(ip(), true, port());
    ASSERT_EQ(Recorder::get().wait_answers(4).size(), 4u);
    Recorder::get().reset();
    const std::vector<Query> queries = {
        {[&] { return client->GetHdr(ip(), port()); }, "hdr"},
        {[&] { return client->GetWdr(ip(), port()); }, "_wdr"},
        {[&] { return client->GetImrxMode(ip(), port()); }, "_imrxMode"},
        {[&] { return client->GetCameraPlacement(ip(), port()); }, "_cameraPlacement"},
        {[&] { return client->GetROI(ip(), port()); }, "_roi"},
        {[&] { return client->GetServicePorts(ip(), port()); }, "_servicePort"},
        {[&] { return client->GetCameraName(ip(), port()); }, "_cameraName"},
        {[&] { return client->GetUpdateProgress(ip(), port()); }, "_updateStatus"},
    };
    for (const Query& q : queries) q.call();
    const auto answers = Recorder::get().wait_answers(queries.size());
    ASSERT_EQ(answers.size(), queries.size());
    const json options = sim->snapshot()["options"];
    for (std::size_t i = 0; i < queries.size(); ++i) {
        SCOPED_TRACE(queries[i].option);
        const json o = answers[i].doc()["results"]["options"];
        ASSERT_EQ(o.size(), 1u);
        EXPECT_EQ(o[queries[i].option], options[queries[i].option]);
    }
    EXPECT_EQ(answers[0].doc()["results"]["options"]["hdr"], 2);
    EXPECT_EQ(answers[2].doc()["results"]["options"]["_imrxMode"], 2);
}

}  // namespace
}  // namespace osctest
