// Many host threads, the client's delivery thread, discovery and removal, all
// at once on one live handler: nothing deadlocks, each camera's settings leave
// in the order the host gave them, and no callback runs after Destroy.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "IVeskOSCHandlerInst.h"
#include "stress/camera_answers.h"
#include "stress/host_operations.h"
#include "stress/stress_support.h"
#include "support/client_double.h"
#include "support/handler_fixture.h"

namespace {

constexpr int kHostThreads = 8;
constexpr int kCameras = 32;
constexpr int kPort = 8080;

// Removal restarts a camera's entry while its old worker drains, so only
// cameras that are never removed have an order to check.
bool removable(int camera) {
    return camera % 4 == 3;
}

// Every SetBrightness the client was asked for, per camera, in call order.
// Lines read "SetBrightness(<ip>, <value>, <port>)".
std::map<std::string, std::vector<int>> brightness_sent(const ClientDouble& client) {
    std::map<std::string, std::vector<int>> sent;
    const std::string prefix = "SetBrightness(";
    for (const std::string& call : client.calls_starting_with(prefix)) {
        const std::size_t ip_end = call.find(", ", prefix.size());
        if (ip_end == std::string::npos) continue;
        const std::string ip = call.substr(prefix.size(), ip_end - prefix.size());
        sent[ip].push_back(std::stoi(call.substr(ip_end + 2)));
    }
    return sent;
}

class ConcurrencyStress : public testing::Test {
protected:
    void SetUp() override {
        testing_hooks::set_worker_timings(fast_worker_timings());
        counter().reset();
        ASSERT_NE(Init(ClientDouble::directory().c_str()), nullptr);
        counter().handler_alive();
        counter().install();
        client_.on_call(&stress::answer_with_canned);
    }

    void TearDown() override {
        client_.on_call(nullptr);
        testing_hooks::reset_worker_timings();
    }

    static stress::CallbackCounter& counter() { return stress::CallbackCounter::instance(); }

    ClientDouble client_;
};

// Host thread `index` owns the brightness of cameras index, index + 8, ...:
// it raises their value on every turn, so what leaves must never go down.
void host_thread(int index, int operations, std::atomic<int>& brightness_calls) {
    std::mt19937 random(static_cast<unsigned>(index) * 7919u + 1u);
    std::uniform_int_distribution<int> camera_pick(0, kCameras - 1);
    std::uniform_int_distribution<std::size_t> operation_pick(0,
                                                              stress::kHostOperations.size() - 1);
    std::vector<int> brightness(kCameras, 0);
    for (int i = 0; i < operations; ++i) {
        const int camera = camera_pick(random);
        const std::string ip = stress::camera_ip(camera);
        if (camera % kHostThreads == index && i % 2 == 0) {
            SetBrightness(ip.c_str(), kPort, ++brightness[camera]);
            ++brightness_calls;
            continue;
        }
        std::size_t operation = operation_pick(random);
        if (operation == stress::kSetBrightness) operation = 0;
        stress::kHostOperations[operation](ip.c_str(), kPort, i % 50);
    }
}

// Discovery batches naming the cameras, and removals, until told to stop.
void discovery_thread(ClientDouble& client, const std::atomic<bool>& stop, int& batches,
                      int& removals) {
    std::mt19937 random(4242);
    std::uniform_int_distribution<int> camera_pick(0, kCameras - 1);
    while (!stop) {
        std::vector<std::string> entries;
        for (int i = 0; i < 4; ++i) {
            entries.push_back("Cam," + stress::camera_ip(camera_pick(random)) + ",8080");
        }
        client.discover(entries);
        ++batches;
        RemoveCachedDevice(stress::camera_ip(camera_pick(random) / 4 * 4 + 3).c_str());
        ++removals;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

TEST_F(ConcurrencyStress, HostThreadsAnswersDiscoveryAndRemovalInterleave) {
    const int operations = stress::env_count("OSC_STRESS_OPERATIONS", 2000);
    stress::Watchdog watchdog("the concurrency stress", std::chrono::seconds(240));

    std::atomic<int> brightness_calls{0};
    std::atomic<bool> stop_discovery{false};
    int batches = 0, removals = 0;
    std::thread discovery(discovery_thread, std::ref(client_), std::cref(stop_discovery),
                          std::ref(batches), std::ref(removals));
    std::vector<std::thread> hosts;
    for (int index = 0; index < kHostThreads; ++index) {
        hosts.emplace_back(host_thread, index, operations, std::ref(brightness_calls));
    }
    for (std::thread& host : hosts) host.join();
    stop_discovery = true;
    discovery.join();

    // Let the queued commands drain, then look at what left for each camera.
    std::this_thread::sleep_for(std::chrono::seconds(2));
    ASSERT_TRUE(client_.wait_idle(std::chrono::seconds(30)));
    const auto sent = brightness_sent(client_);
    std::vector<std::string> checked;
    for (int camera = 0; camera < kCameras; ++camera) {
        if (removable(camera)) continue;
        const std::string ip = stress::camera_ip(camera);
        const auto found = sent.find(ip);
        if (found == sent.end()) continue;
        checked.push_back(ip);
        const std::vector<int>& values = found->second;
        for (std::size_t i = 1; i < values.size(); ++i) {
            EXPECT_LE(values[i - 1], values[i]) << ip << " got its brightness out of order";
        }
    }
    std::printf(
        "stress: %d host threads x %d operations, %zu client calls, %d discovery "
        "batches, %d removals, %zu cameras order-checked\n",
        kHostThreads, operations, client_.call_count(), batches, removals, checked.size());
    EXPECT_FALSE(checked.empty());
    EXPECT_GT(brightness_calls.load(), 0);
    EXPECT_GT(batches, 0);
    EXPECT_GT(removals, 0);

    client_.on_call(nullptr);
    Destroy();
    counter().handler_destroyed();
    EXPECT_GT(counter().callbacks(), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(counter().late_callbacks(), 0);
    EXPECT_EQ(client_.objects_alive(), 0);
}

}  // namespace
