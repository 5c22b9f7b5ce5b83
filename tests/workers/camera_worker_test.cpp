// The worker's pacing: one command in flight, the gate, skip-all, pauses.
#include "support/handler_fixture.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

constexpr const char* kIp = "10.0.0.5";
using Clock = std::chrono::steady_clock;
using CameraWorker = HandlerTest;

TEST_F(CameraWorker, LogsEachSendWithoutABlankAfterTheIp) {
    add_held_camera(kIp);
    SetBrightness(kIp, 8081, 40);
    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_call("SetBrightness(10.0.0.5, 40, 8081)"));
    ASSERT_TRUE(events().wait_for(
        [] { return events().has_log("Thread 0 10.0.0.5send command SetBrightness port 8081"); }));
}

TEST_F(CameraWorker, EmptyQueueSendsAndLogsNothing) {
    Access::ensure(kIp);
    std::this_thread::sleep_for(60ms);
    EXPECT_TRUE(events().logs().empty());
    EXPECT_EQ(client().call_count(), 0u);
}

TEST_F(CameraWorker, SecondCommandWaitsForTheGateWhenNoAnswerComes) {
    add_held_camera(kIp);
    SetBrightness(kIp, 8080, 1);
    SetContrast(kIp, 8080, 2);
    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_call("SetBrightness("));
    const auto first = Clock::now();
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(calls_for(kIp).size(), 1u) << "only one command may be in flight";
    ASSERT_TRUE(client().wait_for_call("SetContrast("));
    const auto waited = Clock::now() - first;
    EXPECT_GE(waited, 700ms);  // the gate is 800 ms in these tests
    EXPECT_LT(waited, 3000ms);
}

TEST_F(CameraWorker, ValuesAreReadWhenSentNotWhenQueued) {
    add_held_camera(kIp);
    answer_everything();
    SetContrast(kIp, 8080, 1);
    SetContrast(kIp, 8080, 2);
    EXPECT_EQ(Access::record(kIp)->contrast_current, 2);
    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_calls(2));
    EXPECT_EQ(calls_for(kIp), (std::vector<std::string>{"SetContrast(10.0.0.5, 2, 8080)",
                                                        "SetContrast(10.0.0.5, 2, 8080)"}));
}

TEST_F(CameraWorker, SkipAllDropsTheWholeQueueWithOneLine) {
    add_held_camera(kIp);
    SetBrightness(kIp, 8080, 1);
    SetContrast(kIp, 8080, 2);
    SetSaturation(kIp, 8080, 3);
    Access::set_skip_all(Access::slot_of(kIp));
    Access::release(kIp);
    ASSERT_TRUE(
        events().wait_for([] { return events().has_log("Thread 0 10.0.0.5skip all commands."); }));
    std::this_thread::sleep_for(50ms);
    EXPECT_TRUE(Access::queued(kIp).empty());
    EXPECT_FALSE(Access::skip_all(Access::slot_of(kIp)));
    EXPECT_EQ(client().call_count(), 0u);
    EXPECT_EQ(events().logs().size(), 1u);
}

TEST_F(CameraWorker, UnknownNameIsConsumedAndHoldsTheNextForTheGate) {
    add_held_camera(kIp);
    Access::push(kIp, "setbrightness");
    SetBrightness(kIp, 8080, 5);
    const auto start = Clock::now();
    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_call("SetBrightness(10.0.0.5, 5, 8080)"));
    EXPECT_GE(Clock::now() - start, 700ms);
    EXPECT_EQ(client().call_count(), 1u);
    EXPECT_TRUE(events().has_log("Thread 0 10.0.0.5send command setbrightness port 8080"));
}

struct PauseCase {
    const char* name;
    std::function<void()> queue;
    const char* expected_call_prefix;
    const char* pause_word;
};

class WorkerPauses : public HandlerTest, public testing::WithParamInterface<PauseCase> {};

TEST_P(WorkerPauses, PrintTheirLinesAroundThePause) {
    add_held_camera(kIp);
    CaptureStdout();
    GetParam().queue();
    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_call(GetParam().expected_call_prefix));
    std::this_thread::sleep_for(300ms);
    const std::string out = GetCapturedStdout();
    const std::string word = GetParam().pause_word;
    EXPECT_NE(out.find("Thread 0(10.0.0.5) " + word + " sleep.\nThread 0(10.0.0.5) " + word +
                       " awaked.\n"),
              std::string::npos)
        << out;
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, WorkerPauses,
    testing::Values(PauseCase{"reboot", [] { RebootCamera(kIp, 8080); }, "Reboot(", "reboot"},
                    PauseCase{"ports", [] { SetCameraPorts(kIp, 8080, 80, 443, 554); },
                              "SetCameraPorts(", "settingports"},
                    PauseCase{"syslog", [] { SetSyslogEnable(kIp, 8080, "10.0.0.1", 514, 1); },
                              "SetSyslogEnable(", "settingsyslog"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(CameraWorker, RebootPauseReleasesTheWorkerItself) {
    add_held_camera(kIp);
    CaptureStdout();
    RebootCamera(kIp, 8080);
    SetBrightness(kIp, 8080, 3);
    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_call("Reboot("));
    const auto rebooted = Clock::now();
    // No answer comes, yet the next command follows the 150 ms pause, well
    // before the 800 ms gate.
    ASSERT_TRUE(client().wait_for_call("SetBrightness("));
    const auto waited = Clock::now() - rebooted;
    GetCapturedStdout();
    EXPECT_GE(waited, 140ms);
    EXPECT_LT(waited, 700ms);
}

TEST_F(CameraWorker, RemovalStopsAndJoinsTheWorkerAndDrainsItsQueue) {
    add_held_camera(kIp);
    SetBrightness(kIp, 8080, 3);
    EXPECT_TRUE(RemoveCachedDevice(kIp));
    EXPECT_FALSE(Access::running(0));
    EXPECT_EQ(Access::camera_count(), 0u);
    EXPECT_EQ(client().call_count(), 0u);
    EXPECT_EQ(events().logs(), (std::vector<std::string>{"RemoveCachedDevice10.0.0.5",
                                                         "RemoveCachedDevice opt_id 0"}));
    EXPECT_FALSE(RemoveCachedDevice(kIp));
}

}  // namespace
