// Discovery through the whole chain: cameras found by the client library end
// up in the handler's device list.
#include <cstdlib>
#include <fstream>

#include "e2e_fixture.h"
#include "sim/dns_sd_advert.h"

namespace e2e {
namespace {

// Browsing makes the mDNS daemon ask on every interface it serves, so the test
// runs only against the loopback-only daemon that scripts/test starts (it
// leaves the daemon's PID beside the daemon's own PID file).
bool loopback_avahi_running() {
    auto first_line = [](const char* path) {
        std::string line;
        std::ifstream file(path);
        std::getline(file, line);
        return line;
    };
    const std::string pid = first_line("/run/avahi-daemon/pid");
    return !pid.empty() && pid == first_line("/run/avahi-daemon/loopback-only-for-tests");
}

class Discovery : public EndToEndTest {
protected:
    Discovery() { load_in_setup_ = false; }

    void SetUp() override {
        EndToEndTest::SetUp();
        setenv("AVAHI_COMPAT_NOWARN", "1", 1);  // the compatibility layer's banner
    }

    void TearDown() override {
        EndToEndTest::TearDown();
        unsetenv("OSC_DISCOVERY_SECONDS");
    }

    static bool listed(const std::string& entry) {
        for (const auto& list : events().device_lists()) {
            if (list.find(entry) != std::string::npos) return true;
        }
        return false;
    }
};

TEST_F(Discovery, DnsSdFindsAnAdvertisedCamera) {
    if (!loopback_avahi_running()) {
        GTEST_SKIP() << "no Avahi daemon confined to lo; scripts/test starts one "
                        "(start_discovery_daemons in scripts/ci/discovery_daemons.sh)";
    }
    auto& camera = start_camera(1);
    oscsim::DnsSdAdvert advert;
    // A comma in the name must not shift the entry's fields.
    const std::string instance = "e2e, camera " + std::to_string(camera.port());
    if (!advert.start(instance, camera.port(), "Q07261")) {
        GTEST_SKIP() << "the Avahi daemon does not answer over D-Bus; "
                        "scripts/test starts one restricted to lo";
    }
    setenv("OSC_DISCOVERY_SECONDS", "3", 1);
    load_handler();

    ScanSupportDevices();
    const std::string entry = "127.0.0.1:" + std::to_string(camera.port()) + ";";
    EXPECT_TRUE(wait_for([&] { return listed(entry); })) << "no device list with " << entry;
    bool logged = false;
    const std::string name = "e2e  camera " + std::to_string(camera.port());
    for (const auto& line : events().logs()) logged |= line.rfind(name + ",Q07261,", 0) == 0;
    EXPECT_TRUE(logged) << "the discovery entry did not carry the instance name and model";
}

}  // namespace
}  // namespace e2e
