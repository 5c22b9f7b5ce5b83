// Destroy while cameras are busy and answers are still arriving: it returns
// in bounded time and no host callback runs once it has returned.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <ostream>
#include <string>
#include <thread>

#include "IVeskOSCHandlerInst.h"
#include "stress/camera_answers.h"
#include "stress/stress_support.h"
#include "support/client_double.h"
#include "support/handler_fixture.h"

namespace {

constexpr int kPort = 8080;

stress::CallbackCounter& counter() {
    return stress::CallbackCounter::instance();
}

// Gives each camera a queue of work and a pile of answers in flight.
void make_cameras_busy(ClientDouble& client, int cameras, int commands_per_camera) {
    for (int camera = 0; camera < cameras; ++camera) {
        const std::string ip = stress::camera_ip(camera);
        for (int i = 0; i < commands_per_camera; ++i) {
            SetBrightness(ip.c_str(), kPort, i);
            GetCameraHealthAndUsage(ip.c_str(), kPort);
        }
        client.respond(stress::kCannedAnswers[3].text, ip);
    }
}

class Shutdown : public testing::Test {
protected:
    void SetUp() override {
        testing_hooks::set_worker_timings(fast_worker_timings());
        counter().reset();
    }
    void TearDown() override {
        client_.on_call(nullptr);
        testing_hooks::reset_worker_timings();
    }

    void start_handler() {
        ASSERT_NE(Init(ClientDouble::directory().c_str()), nullptr);
        counter().handler_alive();
        counter().install();
    }

    // Destroy, and from its return on every callback counts as late.
    std::chrono::milliseconds destroy_timed() {
        const auto started = std::chrono::steady_clock::now();
        Destroy();
        counter().handler_destroyed();
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - started);
    }

    ClientDouble client_;
};

struct BusyCase {
    const char* name;
    bool cameras_answer;
};

// Test names and failure messages show the case by its name.
void PrintTo(const BusyCase& c, std::ostream* os) {
    *os << c.name;
}

class BusyShutdown : public Shutdown, public testing::WithParamInterface<BusyCase> {};

TEST_P(BusyShutdown, DestroyWithSixtyFourBusyCamerasReturnsInTime) {
    stress::Watchdog watchdog("Destroy with busy cameras", std::chrono::seconds(120));
    start_handler();
    if (GetParam().cameras_answer) client_.on_call(&stress::answer_with_canned);
    make_cameras_busy(client_, 64, 10);
    ASSERT_TRUE(client_.wait_for_calls(64));

    const std::chrono::milliseconds took = destroy_timed();
    // The worker's pass is 10 ms and its gate 800 ms here; a join that waited
    // out every queued command would take far longer than this bound.
    std::printf("shutdown: Destroy with 64 busy cameras took %lld ms\n",
                static_cast<long long>(took.count()));
    EXPECT_LT(took.count(), 5000) << "Destroy took " << took.count() << " ms";
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(counter().late_callbacks(), 0);
    EXPECT_GT(counter().callbacks(), 0);
    EXPECT_EQ(client_.objects_alive(), 0);
}

INSTANTIATE_TEST_SUITE_P(Cameras, BusyShutdown,
                         testing::Values(BusyCase{"Answering", true}, BusyCase{"Silent", false}),
                         [](const testing::TestParamInfo<BusyCase>& info) {
                             return std::string(info.param.name);
                         });

TEST_F(Shutdown, InitDestroyCyclesWhileAnswersArrive) {
    // 200 in the long run (OSC_STRESS_CYCLES=200); fewer by default to keep
    // the sanitizer builds' test runs short.
    const int cycles = stress::env_count("OSC_STRESS_CYCLES", 50);
    stress::Watchdog watchdog("Init/Destroy cycles", std::chrono::seconds(600));
    client_.on_call(&stress::answer_with_canned);
    for (int cycle = 0; cycle < cycles; ++cycle) {
        start_handler();
        make_cameras_busy(client_, 32, 2);
        client_.discover({"Cam," + stress::camera_ip(40 + cycle % 8) + ",8080"});
        destroy_timed();
        ASSERT_EQ(counter().late_callbacks(), 0) << "in cycle " << cycle;
        ASSERT_EQ(client_.objects_alive(), 0) << "in cycle " << cycle;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(counter().late_callbacks(), 0);
    EXPECT_EQ(client_.objects_created(), cycles);
}

}  // namespace
