#include "e2e_fixture.h"


#include "workers/timings.h"

namespace e2e {

WorkerTimings short_worker_timings() {
    WorkerTimings t;
    t.pass = 10ms;
    t.gate = 2000ms;          // above the client's failure delay on loopback
    t.reboot_pause = 1500ms;  // the simulated camera is back well before
    t.ports_pause = 40ms;
    t.syslog_pause = 40ms;
    t.start_poll = 1ms;
    return t;
}

void EndToEndTest::SetUp() {
    testing_hooks::set_worker_timings(short_worker_timings());
    events().clear();
    if (load_in_setup_) load_handler();
}

void EndToEndTest::load_handler() {
    ASSERT_FALSE(loaded_);
    Init(OSC_CLIENT_DIR);
    ASSERT_NE(m_inst, nullptr);
    loaded_ = true;
    HostEvents::install();
}

void EndToEndTest::TearDown() {
    // The handler first: releasing the client aborts what is still in flight.
    if (loaded_) Destroy();
    for (auto& camera : cameras_) camera->stop();
    cameras_.clear();
    testing_hooks::reset_worker_timings();
}

oscsim::CameraSim& EndToEndTest::start_camera(int host_byte, oscsim::SimConfig config) {
    const std::string n = std::to_string(host_byte);
    config.host = "127.0.0." + n;
    config.port = 0;
    config.serial = "SIM000" + n;
    config.camera_name = "camera-" + n;
    // Quick by default; a test that asks for other pacing keeps it.
    const oscsim::SimConfig defaults;
    if (config.reboot_downtime == defaults.reboot_downtime) config.reboot_downtime = 700ms;
    if (config.update_step == defaults.update_step) config.update_step = 20ms;
    cameras_.push_back(std::make_unique<oscsim::CameraSim>(config));
    oscsim::CameraSim& camera = *cameras_.back();
    EXPECT_TRUE(camera.start()) << "cannot bind " << config.host;
    return camera;
}

std::vector<CommandResult> EndToEndTest::results_of(const std::string& ip,
                                                    const std::string& command) {
    std::vector<CommandResult> out;
    for (const auto& r : events().results()) {
        if (r.ip == ip && (command.empty() || r.command == command)) out.push_back(r);
    }
    return out;
}

CommandResult EndToEndTest::wait_result(const std::string& ip, const std::string& command) {
    const bool arrived = wait_for([&] { return !results_of(ip, command).empty(); });
    if (!arrived) {
        ADD_FAILURE() << "no result " << command << " for " << ip;
        return {};
    }
    return results_of(ip, command).front();
}

}  // namespace e2e
