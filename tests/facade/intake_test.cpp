// The response intake: failures reported under the exported function's name,
// the "Request exception" order, and the ready flag raised last on every path.
#include "support/handler_fixture.h"

namespace {

constexpr const char* kIp = "10.0.0.5";

using Intake = HandlerTest;

struct FailureCase {
    const char* func;
    const char* reported;
};

class FailureNames : public HandlerTest, public testing::WithParamInterface<FailureCase> {};

TEST_P(FailureNames, FuncIsReportedUnderTheExportedName) {
    Access::ensure(kIp);
    const std::string failure = std::string(R"({"name":"camera.setOptions","func":")") +
                                GetParam().func + R"(","reason":"busy"})";
    Access::deliver(failure, kIp, 1);
    EXPECT_EQ(events().results(),
              (std::vector<CommandResult>{{kIp, GetParam().reported, false, "busy"}}));
}

INSTANTIATE_TEST_SUITE_P(
    Table, FailureNames,
    testing::Values(
        FailureCase{"SetROI", "SetROI"}, FailureCase{"Update1220", "Update1220Firmware"},
        FailureCase{"Update1230_6127", "Update1230Firmware"},
        FailureCase{"Update1230_7261", "Update1230Firmware"},
        FailureCase{"Update1230_4932", "Update1230Firmware"},
        FailureCase{"SetBrightness", "SetBrightness"}, FailureCase{"SetContrast", "SetContrast"},
        FailureCase{"SetSaturation", "SetSaturation"}, FailureCase{"SetAWB", "SetAWB"},
        FailureCase{"SetAutoAWB", "SetAutoAWB"}, FailureCase{"SetSharpness", "SetSharpness"},
        FailureCase{"SetAntiFlicker", "SetAntiFlicker"},
        FailureCase{"SetFormat", "SetPreviewFormat"}, FailureCase{"SetImrxMode", "SetMode"},
        FailureCase{"GetImrxMode", "GetMode"}, FailureCase{"GetFwVer1220_1230", "GetIMRXVersion"},
        FailureCase{"GetFwVer1220", "GetIMRXVersion"},
        FailureCase{"SetCameraPlacement", "SetVerticalFlip"}, FailureCase{"SetHDR", "SetHDRValue"},
        FailureCase{"SetWDR", "SetWDRValue"}, FailureCase{"SetTillShift", "SetTiltShift"},
        FailureCase{"SetAuthEnable", "EnableAuth"}, FailureCase{"GyroEnable", "EnableGyro"},
        FailureCase{"DisableGyro", "EnableGyro"}, FailureCase{"SetSyslogEnable", "SetSyslogEnable"},
        FailureCase{"SetServicePorts", "SetCameraPorts"},
        FailureCase{"TakeSrcScreenShotByIp", "TakeScreenShot"}, FailureCase{"SetTiltShift", ""},
        FailureCase{"setbrightness", ""}));

TEST_F(Intake, FailureIsLoggedWithItsTextAfterTheIp) {
    Access::ensure(kIp);
    const std::string failure = R"({"name":"camera._getLivePreview"})";
    Access::deliver(failure, kIp, 7);
    EXPECT_EQ(events().logs(),
              (std::vector<std::string>{"response_ip: 10.0.0.5", "OscApi Error: " + failure}));
    EXPECT_EQ(events().results(),
              (std::vector<CommandResult>{{kIp, "StartStreaming", false, "Failed"}}));
}

TEST_F(Intake, FailedRebootReportsTheRebootState) {
    Access::ensure(kIp);
    Access::deliver(R"({"name":"reboot"})", kIp, 1);
    EXPECT_EQ(events().reboots(), (std::vector<std::pair<std::string, bool>>{{kIp, false}}));
    EXPECT_TRUE(events().results().empty());
}

TEST_F(Intake, FailedRebootWithoutRebootCallbackReportsNothing) {
    Access::ensure(kIp);
    SetRebootStateCallback(nullptr);
    Access::deliver(R"({"name":"reboot"})", kIp, 1);
    EXPECT_TRUE(events().results().empty());
}

TEST_F(Intake, DocumentWithNameAndFuncTriggersBothReports) {
    Access::ensure(kIp);
    Access::deliver(R"({"name":"camera._getLivePreview","func":"Nope","reason":"x"})", kIp, 1);
    EXPECT_EQ(events().results(),
              (std::vector<CommandResult>{{kIp, "StartStreaming", false, "Failed"},
                                          {kIp, "", false, "x"}}));
}

TEST_F(Intake, RequestExceptionDropsTheQueueAndForgetsTheParameters) {
    add_held_camera(kIp);
    Access::edit(kIp, [](CAM_PARAM& r) { r.got_param = true; });
    SetBrightness(kIp, 8080, 1);
    SetContrast(kIp, 8080, 2);
    SetSaturation(kIp, 8080, 3);

    Access::deliver(
        R"({"name":"camera.setOptions","func":"Update1230_7261","reason":"Request exception"})",
        kIp, 1);
    EXPECT_EQ(
        events().results(),
        (std::vector<CommandResult>{{kIp, "Update1230Firmware", false, "Request exception"}}));
    EXPECT_FALSE(Access::record(kIp)->got_param);

    // The worker drops the three commands with one line and sends nothing.
    ASSERT_TRUE(
        events().wait_for([] { return events().has_log("Thread 0 10.0.0.5skip all commands."); }));
    EXPECT_TRUE(Access::queued(kIp).empty());
    std::this_thread::sleep_for(50ms);
    EXPECT_TRUE(calls_for(kIp).empty());
    EXPECT_EQ(events().count_log("Thread 0 10.0.0.5skip all commands."), 1u);

    // Commands queued afterwards are sent normally.
    SetBrightness(kIp, 8080, 9);
    EXPECT_TRUE(client().wait_for_call("SetBrightness(10.0.0.5, 9, 8080)"));
}

TEST_F(Intake, AnswerForAnUnknownCameraCreatesItsEntryFirst) {
    Access::deliver("{}", "10.0.0.77", 0);
    auto record = Access::record("10.0.0.77");
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->http_port, 8080);
    EXPECT_GE(record->slot_index, 0);
    EXPECT_EQ(events().logs(),
              (std::vector<std::string>{"response_ip: 10.0.0.77", "response: {}"}));
}

TEST_F(Intake, ReadyFlagIsRaisedEvenWhenTheFailureDocumentIsMalformed) {
    add_held_camera(kIp);
    Access::deliver("{not json", kIp, 1);
    EXPECT_TRUE(Access::ready(Access::slot_of(kIp)));
    const auto logs = events().logs();
    ASSERT_EQ(logs.size(), 3u);
    EXPECT_EQ(logs[1], "OscApi Error: {not json");
    EXPECT_EQ(logs[2].rfind("response from 10.0.0.5 not handled: ", 0), 0u);
}

TEST_F(Intake, FailureWithFuncButNoReasonIsLoggedAndStillReleasesTheWorker) {
    add_held_camera(kIp);
    Access::deliver(R"({"func":"SetROI"})", kIp, 1);
    EXPECT_TRUE(Access::ready(Access::slot_of(kIp)));
    EXPECT_TRUE(events().results().empty());
}

TEST_F(Intake, ResultIsLoggedAndParsedThenTheWorkerIsReleased) {
    add_held_camera(kIp);
    Access::deliver(R"({"name":"reboot","state":"done"})", kIp, 0);
    EXPECT_EQ(events().reboots(), (std::vector<std::pair<std::string, bool>>{{kIp, true}}));
    EXPECT_TRUE(events().has_log(R"(response: {"name":"reboot","state":"done"})"));
    EXPECT_TRUE(Access::ready(Access::slot_of(kIp)));
}

TEST_F(Intake, AnswerForAStoppedWorkerOnlyRaisesTheReadyFlag) {
    Access::ensure(kIp);
    const int slot = Access::slot_of(kIp);
    Access::stop_worker(kIp);
    Access::hold(kIp);
    Access::deliver(R"({"name":"reboot","state":"done"})", kIp, 0);
    EXPECT_TRUE(Access::ready(slot));
    EXPECT_TRUE(events().reboots().empty());
    EXPECT_EQ(events().logs(), std::vector<std::string>{"response_ip: 10.0.0.5"});
}

TEST_F(Intake, AnswersThroughTheClientThreadReleaseTheNextCommand) {
    add_held_camera(kIp);
    SetBrightness(kIp, 8080, 1);
    SetContrast(kIp, 8080, 2);
    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_call("SetBrightness("));
    // Without an answer the second waits for the gate; answer, and it goes.
    const auto start = std::chrono::steady_clock::now();
    client().respond(R"({"name":"camera.setOptions","func":"SetBrightness","state":"done"})", kIp);
    ASSERT_TRUE(client().wait_for_call("SetContrast("));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 600ms);
    ASSERT_TRUE(events().wait_for([] { return !events().results().empty(); }));
    EXPECT_EQ(events().results()[0], (CommandResult{kIp, "SetBrightness", true, ""}));
}

}  // namespace
