// A camera's worker: one command in flight, the gate, values read when sent,
// skip-all after an unreachable camera, pauses, removal; and discovery.
#include "support/handler_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

class Worker : public HandlerTest {
protected:
    // A gate far beyond every wait below: a command held by it shows as a
    // timeout. Every pause as long as the reboot's, far from a pass.
    void restart_with_long_gate() {
        WorkerTimings timings = short_worker_timings();
        timings.gate = 60s;
        timings.ports_pause = timings.syslog_pause = timings.reboot_pause;
        restart(timings);
    }
    void held_camera() {
        Access::ensure(kIp);
        Access::hold(kIp);
    }
};

TEST_F(Worker, WithoutAnAnswerTheNextCommandWaitsForTheGate) {
    held_camera();
    SetBrightness(kIp, kPort, 1);
    SetContrast(kIp, kPort, 2);
    Access::hold(kIp, false);
    ASSERT_TRUE(client().wait_for_call("SetBrightness("));
    const auto first = Clock::now();
    ASSERT_TRUE(client().wait_for_call("SetContrast("));
    EXPECT_GE(Clock::now() - first, short_worker_timings().gate - 50ms);
}

// An answer may arrive while the client call is still returning; it must
// still open the gate (the gate once closed after the call and lost it).
TEST_F(Worker, AnAnswerDuringTheCallReleasesTheNextCommand) {
    restart_with_long_gate();
    answer_everything();
    for (int value = 0; value < 5; ++value) SetBrightness(kIp, kPort, value);
    EXPECT_TRUE(client().wait_for_call("SetBrightness(10.0.0.5, 4, 8081)"));
}

TEST_F(Worker, ValuesAreReadWhenSentNotWhenQueued) {
    held_camera();
    SetContrast(kIp, kPort, 1);
    SetContrast(kIp, kPort, 2);
    answer_everything();
    Access::hold(kIp, false);
    wait_for_marker();
    EXPECT_EQ(camera_calls(), std::vector<std::string>(2, "SetContrast(2, 8081)"));
}

// Asking for a camera's document makes its record without a worker; its first
// command gives it the one worker that sends everything that follows.
TEST_F(Worker, ACameraFirstOnlyAskedAboutGetsOneWorker) {
    document();
    answer_everything();
    SetBrightness(kIp, kPort, 1);
    SetContrast(kIp, kPort, 2);
    wait_for_marker();
    EXPECT_EQ(camera_calls(),
              (std::vector<std::string>{"SetBrightness(1, 8081)", "SetContrast(2, 8081)"}));
}

TEST_F(Worker, UnreachableCameraDropsEverythingQueuedWithOneLine) {
    held_camera();
    Access::edit(kIp, [](CAM_PARAM& r) { r.got_param = true; });
    SetBrightness(kIp, kPort, 1);
    SetContrast(kIp, kPort, 2);
    client().respond(R"({"func":"SetBrightness","reason":"Request exception"})", kIp, 1);
    ASSERT_TRUE(events().wait_for_line("log Thread 0 10.0.0.5skip all commands."));
    answer_everything();
    wait_for_marker();
    EXPECT_TRUE(camera_calls().empty());
    EXPECT_TRUE(events().has_line("result 10.0.0.5 SetBrightness failed Request exception"));
    EXPECT_EQ(document()["got_param"], false);  // the next settings query fetches again
}

struct Pause {
    const char* name;
    std::function<void()> call;
    const char* word;
    bool answered;  // a rebooting camera does not answer: the worker releases itself
};

class Pauses : public Worker, public testing::WithParamInterface<Pause> {};

TEST_P(Pauses, HoldTheNextCommandAndPrintTheirLines) {
    restart_with_long_gate();
    if (GetParam().answered) answer_everything();
    testing::internal::CaptureStdout();
    const auto called = Clock::now();
    GetParam().call();
    SetBrightness(kIp, kPort, 3);
    const bool sent = client().wait_for_call("SetBrightness(10.0.0.5, 3, 8081)");
    const std::string out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(sent);
    EXPECT_GE(Clock::now() - called, short_worker_timings().reboot_pause);
    const std::string word = GetParam().word;
    EXPECT_NE(out.find("Thread 0(10.0.0.5) " + word + " sleep.\nThread 0(10.0.0.5) " + word +
                       " awaked.\n"),
              std::string::npos)
        << out;
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Pauses,
    testing::Values(Pause{"Reboot", [] { RebootCamera(kIp, kPort); }, "reboot", false},
                    Pause{"Ports", [] { SetCameraPorts(kIp, kPort, kPort, 443, 554); },
                          "settingports", true},
                    Pause{"Syslog", [] { SetSyslogEnable(kIp, kPort, "10.0.0.1", 514, 1); },
                          "settingsyslog", true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(Worker, RemovalStopsTheWorkerDropsItsQueueAndFreesTheSlot) {
    held_camera();
    SetBrightness(kIp, kPort, 3);
    EXPECT_TRUE(RemoveCachedDevice(kIp));
    EXPECT_EQ(events().logs(), (std::vector<std::string>{"RemoveCachedDevice10.0.0.5",
                                                         "RemoveCachedDevice opt_id 0"}));
    EXPECT_FALSE(RemoveCachedDevice(kIp));
    // The camera comes back in the freed slot, with a fresh record.
    answer_everything();
    wait_for_marker();
    EXPECT_TRUE(events().has_line("log Thread 0 10.0.0.5send command AstParamRwSave port 8081"));
    EXPECT_TRUE(camera_calls().empty());
    EXPECT_EQ(document()["brightness_current"], 0);
}

// Broken entries: see the bad-input matrix.
TEST_F(Worker, DiscoveryListsTheCamerasAndGivesNewOnesAWorker) {
    ScanSupportDevices();
    EXPECT_EQ(client().calls(), std::vector<std::string>{"ScanDevices()"});
    client().discover({"cam,Q07261,10.0.0.7,8082", "cam,10.0.0.8,http"});
    ASSERT_TRUE(client().wait_idle());
    EXPECT_TRUE(events().has_line("log _on_receive_mdns_result device count 2"));
    EXPECT_EQ(events().device_lists(), std::vector<std::string>{"10.0.0.7:8082;"});
    GetUpdateProgress("10.0.0.7", 8082);
    EXPECT_TRUE(client().wait_for_call("GetUpdateProgress(10.0.0.7, 8082)"));
}

}  // namespace
