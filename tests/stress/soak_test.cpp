// A timed soak of mixed valid and malformed traffic through the double. Off in
// normal test runs; scripts/soak sets OSC_SOAK_SECONDS and runs it under ASan
// with LeakSanitizer. The thread count must stay put and resident memory must
// not keep growing.
#include "stress/stress_support.h"
#include "support/handler_fixture.h"
#include "support/process_usage.h"

namespace {

TEST(Soak, MixedTrafficKeepsThreadsAndMemoryFlat) {
    if (std::getenv("OSC_SOAK_SECONDS") == nullptr) GTEST_SKIP() << "set OSC_SOAK_SECONDS";
    const auto seconds = std::chrono::seconds(stress::env_count("OSC_SOAK_SECONDS", 60));
    const auto warm_up = std::min<std::chrono::seconds>(5s, seconds / 4);
    testing_hooks::set_worker_timings(short_worker_timings());
    ClientDouble double_client;
    DoubleState& client = *double_client;
    ASSERT_NE(Init(ClientDouble::directory().c_str()), nullptr);
    stress::CallbackCounter::instance().handler_alive();
    stress::CallbackCounter::instance().install();
    client.on_call(stress::canned_answers(client));
    stress::Watchdog watchdog("the soak", seconds + std::chrono::seconds(120));
    std::mt19937 random(99);
    std::vector<std::pair<std::string, int>> cameras;
    for (int i = 0; i < 16; ++i) cameras.emplace_back(stress::camera_ip(i), 8080);
    long garbage = 0;
    auto now_and_then = [&](std::size_t camera) {
        const std::string& ip = cameras[camera].first;
        client.discover({"Cam," + ip + ",8080", "broken entry", ",,"});
        client.respond(std::string(4096, '{'), ip);
        // The double logs every call; keep its log out of the memory figures.
        if (++garbage % 40 == 0) client.clear();
    };
    const auto started = std::chrono::steady_clock::now();
    // Slower than the workers drain, so queues stay short and any growth left
    // is retention, not backlog.
    long operations =
        stress::drive_host_traffic(cameras, random, started + warm_up, 2ms, now_and_then);
    trim_allocator();
    const ProcessUsage before;
    operations += stress::drive_host_traffic(cameras, random, started + seconds, 2ms, now_and_then);
    ASSERT_TRUE(client.wait_idle(std::chrono::seconds(30)));
    trim_allocator();
    const ProcessUsage after;
    std::printf("soak: %lld s, %ld host operations, threads %ld -> %ld, RSS %ld -> %ld KiB\n",
                static_cast<long long>(seconds.count()), operations, before.threads, after.threads,
                before.rss_kib, after.rss_kib);
    EXPECT_EQ(after.threads, before.threads);
    // Allocator and sanitizer caches settle slowly; a leak per answer would
    // pass this bound within the default minute.
    EXPECT_LT(after.rss_kib - before.rss_kib, soak_growth_limit_kib(32 * 1024));
    client.on_call(nullptr);
    Destroy();
    stress::CallbackCounter::instance().handler_destroyed();
    testing_hooks::reset_worker_timings();
}

}  // namespace
