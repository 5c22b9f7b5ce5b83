// A whole fleet through one handler: every camera is served at once, so one
// camera that stalls costs the others nothing, every camera has its request
// in flight at once, and Destroy ends every exchange in flight.
#include <cstdlib>

#include "e2e_fixture.h"
#include "setter_sequence.h"
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

TEST_F(FleetTest, OneStalledCameraCostsTheOthersNothing) {
    oscsim::Faults stall;
    stall.stall = true;
    cameras()[0]->set_faults(stall);
    for (const auto& s : setter_sequence()) {
        for (auto& camera : cameras()) s.set(camera->host().c_str(), fleet_->port(), s.value);
    }
    const std::size_t healthy_results = (kFleet - 1) * setter_sequence().size();
    ASSERT_TRUE(wait_for([&] {
        std::size_t n = 0;
        for (const auto& r : events().results()) n += r.ok ? 1 : 0;
        return n >= healthy_results;
    }));
    for (std::size_t i = 1; i < cameras().size(); ++i) {
        SCOPED_TRACE(cameras()[i]->host());
        EXPECT_EQ(options_set(*cameras()[i]), sequence_options());
    }
    // The stalled camera still holds its first answer.
    EXPECT_TRUE(results_of(cameras()[0]->host(), "SetBrightness").empty());
    cameras()[0]->set_faults({});
}

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
