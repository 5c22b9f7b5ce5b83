// Init and Destroy: finding, opening, binding and releasing the client
// library, and where the log goes.
#include <unistd.h>

#include <climits>

#include "support/handler_fixture.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

class Lifecycle : public testing::Test {
protected:
    void SetUp() override { HostEvents::instance().clear(); }
    void TearDown() override {
        Destroy();
        double_->reset();
    }
    static std::string init(const char* dir) {
        CaptureStdout();
        Init(dir);
        return GetCapturedStdout();
    }
    static std::string destroy() {
        CaptureStdout();
        Destroy();
        return GetCapturedStdout();
    }
    ClientDouble double_;
};

TEST_F(Lifecycle, LoadInitialisesAndRegistersAndReleaseUnregistersInOrder) {
    EXPECT_EQ(init(ClientDouble::directory().c_str()), "Vesk_OSC.dll loading success\n");
    EXPECT_EQ(double_->objects_alive(), 1);
    EXPECT_EQ(destroy(), "Vesk_OSC.dll released\n");
    EXPECT_EQ(double_->calls(), (std::vector<std::string>{
                                    "Initialize()", "SetOscCallback(set)", "SetMdnsCallback(set)",
                                    "SetOscCallback(null)", "SetMdnsCallback(null)"}));
    EXPECT_EQ(double_->objects_alive(), 0);
    EXPECT_EQ(m_inst, nullptr);
    EXPECT_EQ(destroy(), "");  // a second Destroy does nothing
}

TEST_F(Lifecycle, MissingLibraryOrRefusingFactoryLeaveAHandlerThatDoesNothing) {
    EXPECT_EQ(init("/nonexistent/dir"), "Vesk_OSC.dll loading failed\n");
    ScanSupportDevices();
    EXPECT_EQ(destroy(), "");  // nothing opened, nothing released
    double_->set_fail_factory(true);
    EXPECT_EQ(init(ClientDouble::directory().c_str()), "Vesk_OSC.dll loading failed\n");
    ScanSupportDevices();
    EXPECT_TRUE(double_->calls().empty());
    EXPECT_EQ(destroy(), "Vesk_OSC.dll released\n");
}

TEST_F(Lifecycle, NullOrEmptyDirectoryMeansTheCurrentOneAndATrailingSlashStillLoads) {
    char previous[PATH_MAX];
    ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
    ASSERT_EQ(chdir(ClientDouble::directory().c_str()), 0);
    const std::string from_null = init(nullptr);
    destroy();
    const std::string from_empty = init("");
    destroy();
    ASSERT_EQ(chdir(previous), 0);
    EXPECT_EQ(from_null, "Vesk_OSC.dll loading success\n");
    EXPECT_EQ(from_empty, "Vesk_OSC.dll loading success\n");
    EXPECT_EQ(init((ClientDouble::directory() + "/").c_str()), "Vesk_OSC.dll loading success\n");
}

TEST_F(Lifecycle, LogGoesToStandardOutputWithoutALogCallback) {
    init(ClientDouble::directory().c_str());
    CaptureStdout();
    EXPECT_FALSE(RemoveCachedDevice("10.0.0.9"));
    EXPECT_EQ(GetCapturedStdout(), "RemoveCachedDevice10.0.0.9\n");
    HostEvents::install();
    SetLogCallback(nullptr);
    SetDataCallback(nullptr, nullptr, nullptr, nullptr);
    GetCameraParams(kIp);
    CaptureStdout();
    EXPECT_FALSE(RemoveCachedDevice("10.0.0.9"));
    EXPECT_EQ(GetCapturedStdout(), "RemoveCachedDevice10.0.0.9\n");
    EXPECT_TRUE(HostEvents::instance().lines().empty());  // switched off, not called
}

}  // namespace
