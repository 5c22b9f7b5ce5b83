// A reboot through the whole chain: the host hears of it, the camera goes away
// for a while, and commands sent after the worker's pause reach it again.
#include "e2e_fixture.h"

namespace e2e {
namespace {

class Reboot : public EndToEndTest {};

TEST_F(Reboot, IsReportedAndLaterCommandsStillWork) {
    auto& camera = start_camera(51);
    const std::string ip = camera.host();

    RebootCamera(ip.c_str(), camera.port());
    const auto rebooted = [&] {
        for (const auto& [from, state] : events().reboots()) {
            if (from == ip && state) return true;
        }
        return false;
    };
    ASSERT_TRUE(wait_for(rebooted)) << "no reboot state reported";
    EXPECT_TRUE(eventually([&] { return camera.snapshot().at("reboots") == 1; }));

    // Queued during the worker's pause; sent once the camera is back.
    SetBrightness(ip.c_str(), camera.port(), 77);
    const CommandResult result = wait_result(ip, "SetBrightness");
    EXPECT_TRUE(result.ok) << result.message;
    EXPECT_EQ(camera.snapshot().at("options").at("_brightness"), 77);
    for (const auto& [from, state] : events().reboots()) {
        if (from == ip) {
            EXPECT_TRUE(state) << "a reboot was reported as failed";
        }
    }
}

}  // namespace
}  // namespace e2e
