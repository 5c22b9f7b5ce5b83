// Discovery from the static camera list (DNS-SD runs end to end, against a
// loopback-only daemon). The client's other settings show in the fault tests.
#include "client/discovery.h"
#include "client_harness.h"

namespace osctest {
namespace {

TEST(DiscoveryEntry, CommasInANameCannotShiftTheFields) {
    EXPECT_EQ(oscclient::discovery_entry("cam, one", "Q06127", "127.0.0.5", 8080),
              "cam  one,Q06127,127.0.0.5,8080");
}

TEST_F(ClientTest, StaticCamerasThatAnswerAreReported) {
    oscclient::ClientOptions o = test_options();
    // Port 1 on 127.0.0.3: nothing listens there.
    o.static_cameras = "127.0.0.1:" + std::to_string(port()) + ",127.0.0.3:1";
    make_client(o);
    client->ScanDevices();
    const auto entries = Recorder::get().wait_entries(1);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0], "SIM0001,Q07261,127.0.0.1," + std::to_string(port()));
    // The silent one is given its time, then left out.
    EXPECT_EQ(Recorder::get().wait_entries(2, 1500ms).size(), 1u);
}

}  // namespace
}  // namespace osctest
