#include "e2e_fixture.h"

namespace e2e {

WorkerTimings short_worker_timings() {
    // Pass, gate (above the client's failure delay on loopback), reboot pause
    // (the simulated camera is back well before), ports and syslog pauses, start poll.
    return {10ms, 2000ms, 1500ms, 40ms, 40ms, 1ms};
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

}  // namespace e2e
