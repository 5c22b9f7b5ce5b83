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

// Pass, gate (above the client's failure delay on loopback), reboot pause,
// ports and syslog pauses, start poll: short enough for tests.
inline WorkerTimings short_worker_timings() {
    return {10ms, 2000ms, 1500ms, 40ms, 40ms, 1ms};
}

// Long enough for a loaded, sanitised 2-core machine; waits end early.
constexpr std::chrono::milliseconds kPatience = 10s;

class EndToEndTest : public ::testing::Test {
protected:
    void SetUp() override {
        testing_hooks::set_worker_timings(short_worker_timings());
        events().clear();
        if (load_in_setup_) load_handler();
    }
    void TearDown() override {
        // The handler first: releasing the client aborts what is still in flight.
        if (loaded_) Destroy();
        for (auto& camera : cameras_) camera->stop();
        cameras_.clear();
        testing_hooks::reset_worker_timings();
    }

    // Starts a camera on 127.0.0.<host_byte> with a free port.
    oscsim::CameraSim& start_camera(int host_byte, oscsim::SimConfig config = {}) {
        config.host = "127.0.0." + std::to_string(host_byte);
        config.port = 0;
        cameras_.push_back(std::make_unique<oscsim::CameraSim>(config));
        EXPECT_TRUE(cameras_.back()->start()) << "cannot bind " << config.host;
        return *cameras_.back();
    }

    static HostEvents& events() { return HostEvents::instance(); }
    static bool wait_for(const std::function<bool()>& pred,
                         std::chrono::milliseconds limit = kPatience) {
        return events().wait_for(pred, limit);
    }

    // Results of one command (or of all) for one camera, in arrival order.
    static std::vector<CommandResult> results_of(const std::string& ip,
                                                 const std::string& command = "") {
        std::vector<CommandResult> out;
        for (const auto& r : events().results())
            if (r.ip == ip && (command.empty() || r.command == command)) out.push_back(r);
        return out;
    }

    // Loads the handler; tests that need environment settings first call it
    // themselves (SetUp does not when load_in_setup_ is false).
    void load_handler() {
        ASSERT_FALSE(loaded_);
        Init(OSC_CLIENT_DIR);
        ASSERT_NE(m_inst, nullptr);
        loaded_ = true;
        HostEvents::install();
    }
    bool load_in_setup_ = true;

private:
    bool loaded_ = false;
    std::vector<std::unique_ptr<oscsim::CameraSim>> cameras_;
};

}  // namespace e2e
