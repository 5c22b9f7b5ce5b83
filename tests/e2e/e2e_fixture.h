// A live handler loaded with our client library, talking HTTP to simulated
// cameras on 127.0.0.x, with short worker pauses and every host callback
// recorded.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "IVeskOSCHandlerInst.h"
#include "sim/camera_sim.h"
#include "support/eventually.h"
#include "support/host_events.h"
#include "workers/timings.h"

namespace e2e {

using namespace std::chrono_literals;
using osctest::eventually;

// Worker pauses short enough for tests; the gate stays above the client's
// failure delay on loopback.
WorkerTimings short_worker_timings();

// Long enough for a loaded, sanitised 2-core machine; waits end early.
constexpr std::chrono::milliseconds kPatience = 10s;

class EndToEndTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Starts a camera on 127.0.0.<host_byte> with a free port.
    oscsim::CameraSim& start_camera(int host_byte, oscsim::SimConfig config = {});

    static HostEvents& events() { return HostEvents::instance(); }
    static bool wait_for(const std::function<bool()>& pred,
                         std::chrono::milliseconds limit = kPatience) {
        return events().wait_for(pred, limit);
    }

    // Results of one command (or of all) for one camera, in arrival order.
    static std::vector<CommandResult> results_of(const std::string& ip,
                                                 const std::string& command = "");

    // Loads the handler; tests that need environment settings first call it
    // themselves (SetUp does not when load_in_setup_ is false).
    void load_handler();
    bool load_in_setup_ = true;

private:
    bool loaded_ = false;
    std::vector<std::unique_ptr<oscsim::CameraSim>> cameras_;
};

}  // namespace e2e
