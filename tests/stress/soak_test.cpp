// A timed soak of mixed valid and malformed traffic through the double. Off in
// normal test runs; scripts/soak sets OSC_SOAK_SECONDS and runs it under ASan
// with LeakSanitizer. The process's thread count must stay put and its
// resident memory must not keep growing.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>

#include "IVeskOSCHandlerInst.h"
#include "stress/camera_answers.h"
#include "stress/host_operations.h"
#include "stress/stress_support.h"
#include "support/client_double.h"
#include "support/handler_fixture.h"
#include "support/process_usage.h"

namespace {

constexpr int kCameras = 16;

// Returns how many host operations it issued.
long drive_traffic(ClientDouble& client, std::mt19937& random,
                   std::chrono::steady_clock::time_point until) {
    std::uniform_int_distribution<int> camera_pick(0, kCameras - 1);
    std::uniform_int_distribution<std::size_t> operation_pick(0,
                                                              stress::kHostOperations.size() - 1);
    long round = 0;
    while (std::chrono::steady_clock::now() < until) {
        const std::string ip = stress::camera_ip(camera_pick(random));
        stress::kHostOperations[operation_pick(random)](ip.c_str(), 8080, camera_pick(random));
        if (++round % 50 == 0) {
            client.discover({"Cam," + ip + ",8080", "broken entry", ",,"});
            client.respond(std::string(4096, '{'), ip);  // malformed, unasked
        }
        // The double logs every call; keep its log from passing for our growth.
        if (round % 2000 == 0) client.clear();
        // Slower than the workers drain (a 10 ms pass each), so queues stay short
        // and any growth left is retention, not backlog.
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return round;
}

TEST(Soak, MixedTrafficKeepsThreadsAndMemoryFlat) {
    const char* seconds_text = std::getenv("OSC_SOAK_SECONDS");
    if (seconds_text == nullptr) GTEST_SKIP() << "set OSC_SOAK_SECONDS to run the soak";
    const auto seconds = std::chrono::seconds(stress::env_count("OSC_SOAK_SECONDS", 60));
    const auto warm_up = std::min<std::chrono::seconds>(std::chrono::seconds(5), seconds / 4);

    testing_hooks::set_worker_timings(fast_worker_timings());
    ClientDouble client;
    ASSERT_NE(Init(ClientDouble::directory().c_str()), nullptr);
    stress::CallbackCounter::instance().handler_alive();
    stress::CallbackCounter::instance().install();
    client.on_call(&stress::answer_with_canned);
    stress::Watchdog watchdog("the soak", seconds + std::chrono::seconds(120));

    std::mt19937 random(99);
    const auto started = std::chrono::steady_clock::now();
    long operations = drive_traffic(client, random, started + warm_up);
    trim_allocator();
    const ProcessUsage before;
    operations += drive_traffic(client, random, started + seconds);
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
