// A timed soak through our client library against 16 simulated cameras, some
// of which answer malformed, wrongly typed or with server errors for a while.
// Off in normal runs; scripts/soak (and CI, briefly) sets OSC_SOAK_SECONDS.
// The cameras run in their own osc-camera-sim process, so that what this
// process holds is the handler's and the client's: the thread count and the
// heap in use must stay put, resident memory flat.
#include <cstdio>
#include <thread>

#include "e2e_fixture.h"
#include "stress/stress_support.h"
#include "support/process_usage.h"
#include "support/sim_program.h"

namespace e2e {
namespace {

using SimulatedSoak = EndToEndTest;

// Every camera healthy again and every queue drained (no host callback for
// a second), then free heap pages handed back.
ProcessUsage settled_usage(const SimProgram& sim,
                           const std::vector<std::pair<std::string, int>>& cameras) {
    for (const auto& camera : cameras) EXPECT_TRUE(sim.set_faults(camera.first, "{}"));
    auto& counter = stress::CallbackCounter::instance();
    for (long seen = -1, i = 0; seen != counter.callbacks() && i < 60; ++i) {
        seen = counter.callbacks();
        std::this_thread::sleep_for(1s);
    }
    trim_allocator();
    return {};
}

TEST_F(SimulatedSoak, SixteenCamerasKeepThreadsAndMemoryFlat) {
    if (std::getenv("OSC_SOAK_SECONDS") == nullptr) GTEST_SKIP() << "set OSC_SOAK_SECONDS";
    const auto seconds = std::chrono::seconds(stress::env_count("OSC_SOAK_SECONDS", 60));
    stress::Watchdog watchdog("the simulated soak", seconds + 120s);
    const SimProgram sim({"--cameras", "16", "--fault-control"});
    ASSERT_GT(sim.port(), 0);
    std::vector<std::pair<std::string, int>> addresses;
    for (int i = 1; i <= 16; ++i)
        addresses.emplace_back("127.0.0." + std::to_string(i), sim.port());
    // Counted, not recorded: a recorder's own memory would read as growth.
    stress::CallbackCounter::instance().handler_alive();
    stress::CallbackCounter::instance().install();
    std::mt19937 random(16);
    long faults = 0;
    auto now_and_then = [&](std::size_t camera) {
        static const char* const kFaults[] = {R"({"malformed":true})", R"({"wrong_type":true})",
                                              R"({"server_error":true})"};
        const int pick = std::uniform_int_distribution<int>(0, 5)(random);
        if (++faults % 2 == 0)
            sim.set_faults(addresses[camera].first, pick < 3 ? kFaults[pick] : "{}");
    };
    // About 6 operations a second per camera: well below what the workers
    // drain, so growth left is retention, not backlog.
    const auto started = std::chrono::steady_clock::now();
    const auto warm_up = std::min<std::chrono::seconds>(60s, seconds / 4);
    long operations =
        stress::drive_host_traffic(addresses, random, started + warm_up, 10ms, now_and_then);
    const ProcessUsage before = settled_usage(sim, addresses);
    operations +=
        stress::drive_host_traffic(addresses, random, started + seconds, 10ms, now_and_then);
    const ProcessUsage after = settled_usage(sim, addresses);
    std::printf(
        "simulated soak: %lld s, %ld host operations, threads %ld -> %ld, RSS %ld -> %ld KiB, "
        "heap in use %ld -> %ld KiB\n",
        static_cast<long long>(seconds.count()), operations, before.threads, after.threads,
        before.rss_kib, after.rss_kib, before.heap_kib, after.heap_kib);
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_LT(after.rss_kib - before.rss_kib, soak_growth_limit_kib(2048));
    // Retention at any length: a hundred bytes kept per host operation pass
    // this within CI's half minute; allocator caches do not count here (nor
    // does anything under LeakSanitizer alone, which keeps no count).
    if (before.heap_kib >= 0) {
        EXPECT_LT(after.heap_kib - before.heap_kib, 256);
    }
    // The fleet still answers. A drop order left by a server error takes
    // whatever is queued when the worker next looks, without a result, so
    // each try waits for its own result before the next goes out.
    events().clear();
    HostEvents::install();
    const std::string& ip = addresses[0].first;
    auto answered = [&] {
        for (const auto& r : results_of(ip, "SetBrightness"))
            if (r.ok) return true;
        return false;
    };
    for (int attempt = 1; attempt <= 3 && !answered(); ++attempt) {
        SetBrightness(ip.c_str(), sim.port(), attempt);
        wait_for(answered, 4s);
    }
    EXPECT_TRUE(answered());
}

}  // namespace
}  // namespace e2e
