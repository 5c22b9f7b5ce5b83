// Cameras found by discovery, the device list, and forgetting a camera.
#include "support/handler_fixture.h"

namespace {

using Discovery = HandlerTest;

TEST_F(Discovery, ScanAsksTheClient) {
    ScanSupportDevices();
    EXPECT_EQ(client().calls(), std::vector<std::string>{"ScanDevices()"});
    EXPECT_TRUE(events().logs().empty());
}

struct EntryCase {
    const char* entry;
    const char* ip;  // nullptr: the entry is not used
    int port;
};

class DiscoveryEntries : public HandlerTest, public testing::WithParamInterface<EntryCase> {};

TEST_P(DiscoveryEntries, OnlyTheLastTwoFieldsCount) {
    client().discover({GetParam().entry});
    ASSERT_TRUE(client().wait_idle());
    if (GetParam().ip == nullptr) {
        EXPECT_EQ(Access::camera_count(), 0u);
        EXPECT_EQ(events().device_lists(), std::vector<std::string>{""});
    } else {
        ASSERT_EQ(Access::camera_count(), 1u);
        EXPECT_EQ(Access::record(GetParam().ip)->http_port, GetParam().port);
        EXPECT_EQ(events().device_lists(),
                  std::vector<std::string>{std::string(GetParam().ip) + ":" +
                                           std::to_string(GetParam().port) + ";"});
    }
    // The entry is always logged, after its separator line.
    const auto logs = events().logs();
    ASSERT_GE(logs.size(), 3u);
    EXPECT_EQ(logs[0], "_on_receive_mdns_result device count 1");
    EXPECT_EQ(logs[1], "---------------------\n");
    EXPECT_EQ(logs[2], GetParam().entry);
}

INSTANTIATE_TEST_SUITE_P(Entries, DiscoveryEntries,
                         testing::Values(EntryCase{"10.0.0.7,80", "10.0.0.7", 80},
                                         EntryCase{"cam,Q07261,10.0.0.7,8080", "10.0.0.7", 8080},
                                         EntryCase{"a,b,10.0.0.7,80x", "10.0.0.7", 80},
                                         EntryCase{"a,b,10.0.0.7, +81", "10.0.0.7", 81},
                                         EntryCase{"10.0.0.7", nullptr, 0},
                                         EntryCase{"10.0.0.7,http", nullptr, 0},
                                         EntryCase{"10.0.0.7,", nullptr, 0},
                                         EntryCase{"10.0.0.7,99999999999", nullptr, 0}));

TEST_F(Discovery, SameCameraTwiceMakesOneEntry) {
    client().discover({"x,10.0.0.7,80", "y,10.0.0.7,81"});
    ASSERT_TRUE(client().wait_idle());
    EXPECT_EQ(Access::camera_count(), 1u);
    EXPECT_EQ(events().device_lists(), std::vector<std::string>{"10.0.0.7:80;"});
}

TEST_F(Discovery, EmptyResultStillReportsTheKnownCameras) {
    Access::ensure("10.0.0.3", 8080);
    client().discover({});
    ASSERT_TRUE(client().wait_idle());
    EXPECT_EQ(events().logs(), std::vector<std::string>{"_on_receive_mdns_result device count 0"});
    EXPECT_EQ(events().device_lists(), std::vector<std::string>{"10.0.0.3:8080;"});
}

TEST_F(Discovery, DeviceListNamesEveryKnownCamera) {
    Access::ensure("10.0.0.3", 8080);
    client().discover({"10.0.0.4,80"});
    ASSERT_TRUE(client().wait_idle());
    ASSERT_EQ(events().device_lists().size(), 1u);
    const std::string list = events().device_lists()[0];
    EXPECT_EQ(list.size(), std::string("10.0.0.3:8080;10.0.0.4:80;").size());
    EXPECT_NE(list.find("10.0.0.3:8080;"), std::string::npos);
    EXPECT_NE(list.find("10.0.0.4:80;"), std::string::npos);
}

TEST_F(Discovery, RemovedCameraReturnsWithItsSlotReused) {
    client().discover({"10.0.0.1,80", "10.0.0.2,80"});
    ASSERT_TRUE(client().wait_idle());
    EXPECT_TRUE(RemoveCachedDevice("10.0.0.1"));
    EXPECT_FALSE(RemoveCachedDevice("10.0.0.1"));
    client().discover({"10.0.0.9,81"});
    ASSERT_TRUE(client().wait_idle());
    EXPECT_EQ(Access::slot_of("10.0.0.9"), 0);
}

TEST_F(Discovery, RemovingAnEntryThatNeverHadAWorkerTouchesNoSlot) {
    GetCameraParams("10.0.0.8");  // a report lookup leaves an entry without a slot
    EXPECT_TRUE(RemoveCachedDevice("10.0.0.8"));
    EXPECT_TRUE(events().has_log("RemoveCachedDevice opt_id -1"));
    EXPECT_EQ(Access::camera_count(), 0u);
}

}  // namespace
