// Finding, opening, binding and releasing the camera client library.
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "facade/client_binding.h"
#include "support/client_double.h"
#include "support/handler_access.h"
#include "support/host_events.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

struct PathCase {
    const char* dir;
    std::string expected;
};

class ClientLibraryPath : public testing::TestWithParam<PathCase> {};

TEST_P(ClientLibraryPath, IsBuiltFromTheDirectoryAsGiven) {
    EXPECT_EQ(client_library_path(GetParam().dir), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Dirs, ClientLibraryPath,
                         testing::Values(PathCase{nullptr, "./libVesk_OSC.dylib"},
                                         PathCase{"", "./libVesk_OSC.dylib"},
                                         PathCase{"/opt/x", "/opt/x/libVesk_OSC.dylib"},
                                         PathCase{"/opt/x/", "/opt/x//libVesk_OSC.dylib"}));

class ClientLoading : public testing::Test {
protected:
    void SetUp() override {
        HostEvents::instance().clear();
        double_.reset();
    }
    void TearDown() override {
        Destroy();
        double_.fail_factory(false);
    }

    // Init with stdout captured; returns what the handler printed.
    static std::string init_capturing(const char* dir) {
        CaptureStdout();
        Init(dir);
        return GetCapturedStdout();
    }

    static std::string destroy_capturing() {
        CaptureStdout();
        Destroy();
        return GetCapturedStdout();
    }

    // Every kind of camera operation, none of which may have any effect.
    static void call_every_kind_of_operation() {
        SetBrightness("10.0.0.5", 8080, 40);
        SetMode("10.0.0.5", 8080, 2);
        GetROI("10.0.0.5", 8080);
        SetVerticalFlip("10.0.0.5", 8080, true);
        Update1220Firmware("10.0.0.5", 8080, "update.img");
        RebootCamera("10.0.0.5", 8080);
        GetCameraSettings("10.0.0.5", 8080, true);
        ScanSupportDevices();
    }

    ClientDouble double_;
};

TEST_F(ClientLoading, MissingLibraryLeavesAHandlerThatDoesNothing) {
    EXPECT_EQ(init_capturing("/nonexistent/dir"), "Vesk_OSC.dll loading failed\n");
    ASSERT_NE(m_inst, nullptr);
    HostEvents::install();

    call_every_kind_of_operation();

    EXPECT_EQ(HandlerTestAccess::camera_count(), 0u);
    EXPECT_TRUE(HostEvents::instance().logs().empty());
    // Nothing was opened, so nothing is released.
    EXPECT_EQ(destroy_capturing(), "");
}

TEST_F(ClientLoading, FactoryThatYieldsNothingKeepsTheLibraryOpenUntilRelease) {
    double_.fail_factory(true);
    EXPECT_EQ(init_capturing(ClientDouble::directory().c_str()), "Vesk_OSC.dll loading failed\n");
    HostEvents::install();
    EXPECT_EQ(double_.objects_created(), 0);

    call_every_kind_of_operation();
    EXPECT_EQ(HandlerTestAccess::camera_count(), 0u);
    EXPECT_EQ(double_.call_count(), 0u);

    EXPECT_EQ(destroy_capturing(), "Vesk_OSC.dll released\n");
}

TEST_F(ClientLoading, LoadInitialisesAndRegistersThenReleaseUnregistersInOrder) {
    EXPECT_EQ(init_capturing(ClientDouble::directory().c_str()), "Vesk_OSC.dll loading success\n");
    EXPECT_EQ(double_.objects_created(), 1);
    EXPECT_EQ(double_.initialize_calls(), 1);

    EXPECT_EQ(destroy_capturing(), "Vesk_OSC.dll released\n");
    EXPECT_EQ(double_.calls(), (std::vector<std::string>{
                                   "Initialize()", "SetOscCallback(set)", "SetMdnsCallback(set)",
                                   "SetOscCallback(null)", "SetMdnsCallback(null)"}));
    EXPECT_EQ(double_.objects_released(), 1);
    EXPECT_EQ(double_.objects_alive(), 0);
}

TEST_F(ClientLoading, TrailingSlashIsPassedOnAndStillLoads) {
    const std::string dir = ClientDouble::directory() + "/";
    EXPECT_EQ(init_capturing(dir.c_str()), "Vesk_OSC.dll loading success\n");
}

TEST_F(ClientLoading, NullAndEmptyDirectoriesLookInTheCurrentDirectory) {
    char previous[PATH_MAX];
    ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
    ASSERT_EQ(chdir(ClientDouble::directory().c_str()), 0);
    const std::string from_null = init_capturing(nullptr);
    Destroy();
    const std::string from_empty = init_capturing("");
    ASSERT_EQ(chdir(previous), 0);
    EXPECT_EQ(from_null, "Vesk_OSC.dll loading success\n");
    EXPECT_EQ(from_empty, "Vesk_OSC.dll loading success\n");
}

TEST_F(ClientLoading, SecondInitReplacesTheHandlerAndTakesTheCallbacks) {
    init_capturing(ClientDouble::directory().c_str());
    OSCAPIHANDLER* first = m_inst;
    init_capturing(ClientDouble::directory().c_str());
    EXPECT_NE(m_inst, first);
    EXPECT_EQ(double_.objects_alive(), 2);

    // Answers now reach the newest handler only.
    HostEvents::install();
    double_.respond("{}", "10.0.0.9");
    ASSERT_TRUE(double_.wait_idle());
    EXPECT_TRUE(HostEvents::instance().has_log("response_ip: 10.0.0.9"));

    CaptureStdout();
    delete first;  // the first one is the caller's to clean up
    GetCapturedStdout();
}

TEST_F(ClientLoading, DestroyStopsEveryWorkerAndLaterAnswersAreDropped) {
    init_capturing(ClientDouble::directory().c_str());
    for (int i = 1; i <= 5; ++i) {
        HandlerTestAccess::ensure("10.0.1." + std::to_string(i));
    }
    EXPECT_EQ(HandlerTestAccess::camera_count(), 5u);
    destroy_capturing();
    EXPECT_EQ(double_.objects_alive(), 0);
    EXPECT_EQ(m_inst, nullptr);
}

}  // namespace
