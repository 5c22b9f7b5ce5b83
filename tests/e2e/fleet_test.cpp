// A whole fleet through one handler: every camera has its request in flight at
// once, and Destroy ends every exchange in flight. That a stalled camera costs
// the others nothing is the fault matrix's StallsMidAnswer row.
#include <cstdlib>

#include "e2e_fixture.h"
#include "sim/fleet.h"

namespace e2e {
namespace {

constexpr int kFleet = 99;

class FleetTest : public EndToEndTest {
protected:
    void SetUp() override {
        // No request of the fleet ends on its own during a test, so a client
        // that cannot keep every camera's request in flight at once shows.
        setenv("OSC_REQUEST_TIMEOUT_MS", "120000", 1);
        EndToEndTest::SetUp();
        oscsim::SimConfig base;
        base.port = 0;
        fleet_ = std::make_unique<oscsim::Fleet>(base, kFleet);
        ASSERT_TRUE(fleet_->start());
    }
    void TearDown() override {
        EndToEndTest::TearDown();
        fleet_->stop();
        unsetenv("OSC_REQUEST_TIMEOUT_MS");
    }
    std::vector<std::unique_ptr<oscsim::CameraSim>>& cameras() { return fleet_->cameras(); }

    std::unique_ptr<oscsim::Fleet> fleet_;
};

TEST_F(FleetTest, DestroyEndsEveryExchangeInFlight) {
    oscsim::Faults hold;
    hold.never_answer = true;
    for (auto& camera : cameras()) {
        camera->set_faults(hold);
        SetContrast(camera->host().c_str(), fleet_->port(), 12);
    }
    ASSERT_TRUE(eventually([&] {
        for (auto& camera : cameras())
            if (camera->requests().empty()) return false;
        return true;
    })) << "not every camera had its request in flight";
    const auto start = std::chrono::steady_clock::now();
    Destroy();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    const std::size_t heard = events().results().size() + events().logs().size();
    // Once the cameras have stopped, nothing they could still send is left.
    for (auto& camera : cameras()) camera->set_faults({});
    fleet_->stop();
    EXPECT_EQ(events().results().size() + events().logs().size(), heard);
    Init(OSC_CLIENT_DIR);  // for the fixture's own Destroy
}

}  // namespace
}  // namespace e2e
