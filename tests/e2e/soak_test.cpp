// A timed soak through our client library against 16 simulated cameras, some
// of which answer malformed, wrongly typed or with server errors for a while.
// Off in normal runs; scripts/soak (and CI, briefly) sets OSC_SOAK_SECONDS.
// The thread count must stay put and resident memory must stay flat.
#include <cstdio>
#include <thread>

#include "e2e_fixture.h"
#include "stress/stress_support.h"
#include "support/process_usage.h"

namespace e2e {
namespace {

class SimulatedSoak : public EndToEndTest {
protected:
    // Every camera healthy again and every queue drained: no request has
    // reached any camera for a second.
    void settle() {
        auto requests = [this] {
            size_t total = 0;
            for (const auto* camera : cameras_) total += camera->requests().size();
            return total;
        };
        for (auto* camera : cameras_) camera->set_faults({});
        for (size_t seen = ~size_t{0}, i = 0; seen != requests() && i < 60; ++i) {
            seen = requests();
            std::this_thread::sleep_for(1s);
        }
        for (auto* camera : cameras_) camera->clear_requests();
        trim_allocator();
    }
    std::vector<oscsim::CameraSim*> cameras_;
};

TEST_F(SimulatedSoak, SixteenCamerasKeepThreadsAndMemoryFlat) {
    if (std::getenv("OSC_SOAK_SECONDS") == nullptr) GTEST_SKIP() << "set OSC_SOAK_SECONDS";
    const auto seconds = std::chrono::seconds(stress::env_count("OSC_SOAK_SECONDS", 60));
    stress::Watchdog watchdog("the simulated soak", seconds + 120s);
    std::vector<std::pair<std::string, int>> addresses;
    for (int i = 0; i < 16; ++i) {
        cameras_.push_back(&start_camera(101 + i));
        addresses.emplace_back(cameras_.back()->host(), cameras_.back()->port());
    }
    // Counted, not recorded: a recorder's own memory would read as growth.
    stress::CallbackCounter::instance().handler_alive();
    stress::CallbackCounter::instance().install();
    std::mt19937 random(16);
    long faults = 0;
    auto now_and_then = [&](std::size_t camera) {
        oscsim::Faults f;
        const int pick = std::uniform_int_distribution<int>(0, 5)(random);
        f.malformed = pick == 0;
        f.wrong_type = pick == 1;
        f.server_error = pick == 2;
        if (++faults % 2 == 0) cameras_[camera]->set_faults(f);
        // The cameras log every request; keep that from passing for our growth.
        if (faults % 4 == 0) cameras_[camera]->clear_requests();
    };
    // About 6 operations a second per camera: well below what the workers
    // drain, so growth left is retention, not backlog.
    const auto started = std::chrono::steady_clock::now();
    const auto warm_up = std::min<std::chrono::seconds>(60s, seconds / 4);
    long operations =
        stress::drive_host_traffic(addresses, random, started + warm_up, 10ms, now_and_then);
    settle();
    const ProcessUsage before;
    operations +=
        stress::drive_host_traffic(addresses, random, started + seconds, 10ms, now_and_then);
    settle();
    const ProcessUsage after;
    std::printf(
        "simulated soak: %lld s, %ld host operations, threads %ld -> %ld, RSS %ld -> %ld KiB\n",
        static_cast<long long>(seconds.count()), operations, before.threads, after.threads,
        before.rss_kib, after.rss_kib);
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_LT(after.rss_kib - before.rss_kib, soak_growth_limit_kib(2048));
    // The fleet still answers. A drop order left by a server error takes
    // whatever is queued when the worker next looks, without a result, so
    // each try waits for its own result before the next goes out.
    events().clear();
    HostEvents::install();
    const std::string& ip = addresses[0].first;
    const int port = addresses[0].second;
    auto answered = [&] {
        for (const auto& r : results_of(ip, "SetBrightness"))
            if (r.ok) return true;
        return false;
    };
    for (int attempt = 1; attempt <= 3 && !answered(); ++attempt) {
        SetBrightness(ip.c_str(), port, attempt);
        wait_for(answered, 4s);
    }
    EXPECT_TRUE(answered());
}

}  // namespace
}  // namespace e2e
