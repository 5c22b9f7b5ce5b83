// A timed soak through our client library against 16 simulated cameras, some
// of which answer malformed, wrongly typed or with server errors for a while.
// Off in normal runs; scripts/soak (and CI, briefly) sets OSC_SOAK_SECONDS.
// The thread count must stay put and resident memory must stay flat.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <thread>

#include "e2e_fixture.h"
#include "stress/host_operations.h"
#include "stress/stress_support.h"
#include "support/process_usage.h"

namespace e2e {
namespace {

constexpr int kCameras = 16;

// Mostly well-behaved cameras, with a fault now and then.
oscsim::Faults random_faults(std::mt19937& random) {
    oscsim::Faults f;
    switch (std::uniform_int_distribution<int>(0, 5)(random)) {
        case 0:
            f.malformed = true;
            break;
        case 1:
            f.wrong_type = true;
            break;
        case 2:
            f.server_error = true;
            break;
        default:
            break;
    }
    return f;
}

class SimulatedSoak : public EndToEndTest {
protected:
    std::vector<oscsim::CameraSim*> cameras_;

    // Returns how many host operations it issued.
    long drive(std::mt19937& random, std::chrono::steady_clock::time_point until) {
        std::uniform_int_distribution<int> camera_pick(0, kCameras - 1);
        std::uniform_int_distribution<std::size_t> operation_pick(
            0, stress::kHostOperations.size() - 1);
        long round = 0;
        while (std::chrono::steady_clock::now() < until) {
            oscsim::CameraSim& camera = *cameras_[static_cast<size_t>(camera_pick(random))];
            stress::kHostOperations[operation_pick(random)](camera.host().c_str(), camera.port(),
                                                            camera_pick(random));
            if (++round % 100 == 0) {
                cameras_[static_cast<size_t>(camera_pick(random))]->set_faults(
                    random_faults(random));
            }
            // The cameras log every request; keep that from passing for our growth.
            if (round % 200 == 0) forget();
            // About 6 operations a second per camera: well below what the
            // workers drain, so growth left is retention, not backlog.
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return round;
    }

    // Every camera healthy again and every queue drained: no request has
    // reached any camera for a second.
    void settle() {
        for (auto* camera : cameras_) camera->set_faults({});
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        size_t seen = requests_so_far();
        do {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            const size_t now = requests_so_far();
            if (now == seen) break;
            seen = now;
        } while (std::chrono::steady_clock::now() < deadline);
        forget();
        trim_allocator();
    }

    size_t requests_so_far() const {
        size_t total = 0;
        for (const auto* camera : cameras_) total += camera->requests().size();
        return total;
    }

    void forget() {
        for (auto* camera : cameras_) camera->clear_requests();
    }
};

TEST_F(SimulatedSoak, SixteenCamerasKeepThreadsAndMemoryFlat) {
    if (std::getenv("OSC_SOAK_SECONDS") == nullptr) {
        GTEST_SKIP() << "set OSC_SOAK_SECONDS to run the soak";
    }
    const auto seconds = std::chrono::seconds(stress::env_count("OSC_SOAK_SECONDS", 60));
    const auto warm_up = std::min<std::chrono::seconds>(std::chrono::seconds(60), seconds / 4);
    stress::Watchdog watchdog("the simulated soak", seconds + std::chrono::seconds(120));
    for (int i = 0; i < kCameras; ++i) cameras_.push_back(&start_camera(101 + i));
    // Counted, not recorded: a recorder's own memory would read as growth.
    stress::CallbackCounter::instance().handler_alive();
    stress::CallbackCounter::instance().install();

    std::mt19937 random(16);
    const auto started = std::chrono::steady_clock::now();
    long operations = drive(random, started + warm_up);
    settle();
    const ProcessUsage before;
    operations += drive(random, started + seconds);
    settle();
    const ProcessUsage after;

    std::printf(
        "simulated soak: %lld s, %d cameras, %ld host operations, threads %ld -> %ld, "
        "RSS %ld -> %ld KiB\n",
        static_cast<long long>(seconds.count()), kCameras, operations, before.threads,
        after.threads, before.rss_kib, after.rss_kib);
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_LT(after.rss_kib - before.rss_kib, soak_growth_limit_kib(2048));
    // The fleet still answers. A drop order left by a server error takes the
    // first command queued after it, so the check is the second one.
    oscsim::CameraSim& last = *cameras_.front();
    SetBrightness(last.host().c_str(), last.port(), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    events().clear();
    HostEvents::install();
    SetBrightness(last.host().c_str(), last.port(), 2);
    const CommandResult confirmed = wait_result(last.host(), "SetBrightness");
    EXPECT_TRUE(confirmed.ok) << confirmed.message;
}

}  // namespace
}  // namespace e2e
