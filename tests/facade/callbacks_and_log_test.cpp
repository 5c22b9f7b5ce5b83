// Host callbacks and the log: where lines go, and switching callbacks off.
#include "support/handler_fixture.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

using CallbacksAndLog = HandlerTest;

TEST_F(CallbacksAndLog, LogLinesGoToStandardOutputWithoutALogCallback) {
    SetLogCallback(nullptr);
    CaptureStdout();
    Access::handler()._put_log("a line");
    Access::handler()._put_log("RemoveCachedDevice opt_id 3");
    EXPECT_EQ(GetCapturedStdout(), "a line\nRemoveCachedDevice opt_id 3\n");
}

TEST_F(CallbacksAndLog, LogLinesReachTheLogCallbackAsTheyAre) {
    Access::handler()._put_log("---------------------\n");
    EXPECT_EQ(events().logs(), std::vector<std::string>{"---------------------\n"});
}

TEST_F(CallbacksAndLog, ACallbackSetToNullIsNotCalledAgain) {
    GetCameraParams("10.0.0.5");
    ASSERT_EQ(events().parameters().size(), 1u);

    SetDataCallback(nullptr, nullptr, nullptr, nullptr);
    GetCameraParams("10.0.0.5");
    GetCameraHealthAndUsage_stored("10.0.0.5", 8080);
    EXPECT_EQ(events().parameters().size(), 1u);
    EXPECT_TRUE(events().health().empty());
}

TEST_F(CallbacksAndLog, ExceptionsInsideAnOperationBecomeOneLogLine) {
    // A null IP cannot name a camera; the host gets a log line, not a crash.
    SetBrightness(nullptr, 8080, 1);
    ASSERT_EQ(events().logs().size(), 1u);
    EXPECT_EQ(events().logs()[0].rfind("SetBrightness failed: ", 0), 0u);
}

}  // namespace
