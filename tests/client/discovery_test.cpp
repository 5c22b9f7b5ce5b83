// Discovery from the static camera list (DNS-SD is not exercised: tests keep
// all traffic on loopback).
#include "client/discovery.h"
#include "client_harness.h"

namespace osctest {
namespace {

TEST(CameraList, ParsesAddressesAndSkipsJunk) {
    const auto cameras = oscclient::parse_camera_list(
        " 127.0.0.1:8080, 127.0.0.2 ,x:y,:80,127.0.0.3:99999,127.0.0.4:81");
    ASSERT_EQ(cameras.size(), 3u);
    EXPECT_EQ(cameras[0], (std::pair<std::string, int>{"127.0.0.1", 8080}));
    EXPECT_EQ(cameras[1], (std::pair<std::string, int>{"127.0.0.2", 80}));
    EXPECT_EQ(cameras[2], (std::pair<std::string, int>{"127.0.0.4", 81}));
}

TEST(CameraList, EntriesEndWithIpAndPort) {
    EXPECT_EQ(oscclient::discovery_entry("cam, one", "Q06127", "127.0.0.5", 8080),
              "cam  one,Q06127,127.0.0.5,8080");
}

TEST_F(ClientTest, StaticCamerasThatAnswerAreReported) {
    oscclient::ClientOptions o = test_options();
    sim->stop();
    oscsim::SimConfig c;
    c.model = "Q06127";
    sim = start_camera(c);
    // Port 1 on 127.0.0.3: nothing listens there.
    o.static_cameras = "127.0.0.1:" + std::to_string(port()) + ",127.0.0.3:1";
    make_client(o);
    client->ScanDevices();
    const auto entries = Recorder::get().wait_entries(1);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0], "SIM0001,Q06127,127.0.0.1," + std::to_string(port()));
    // The silent one is given its time, then left out.
    EXPECT_EQ(Recorder::get().wait_entries(2, std::chrono::milliseconds(1500)).size(), 1u);
}

}  // namespace
}  // namespace osctest
