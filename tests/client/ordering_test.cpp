// Ordering per camera, independence between cameras, and release.
#include <atomic>
#include <thread>

#include "client_harness.h"

namespace osctest {
namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

TEST_F(ClientTest, RequestsToOneCameraKeepTheirOrder) {
    constexpr int kCount = 40;
    for (int i = 0; i < kCount; ++i) {
        if (i % 2 == 0) {
            client->SetBrightness(ip(), i, port());
        } else {
            client->GetCameraName(ip(), port());
        }
    }
    const auto answers = Recorder::get().wait_answers(kCount);
    ASSERT_EQ(answers.size(), static_cast<std::size_t>(kCount));
    for (int i = 0; i < kCount; ++i) {
        EXPECT_EQ(answers[i].status, 0);
        EXPECT_EQ(answers[i].doc()["name"], i % 2 == 0 ? "camera.setOptions" : "camera.getOptions")
            << i;
    }
    const auto requests = sim->requests();
    ASSERT_EQ(requests.size(), static_cast<std::size_t>(kCount));
    for (int i = 0; i < kCount; i += 2)
        EXPECT_EQ(json::parse(requests[i].body)["parameters"]["options"]["_brightness"], i);
    EXPECT_EQ(sim->snapshot()["options"]["_brightness"], kCount - 2);
}

TEST_F(ClientTest, ASlowCameraDoesNotHoldUpAnother) {
    oscsim::SimConfig second;
    second.host = "127.0.0.2";
    auto fast = start_camera(second);
    oscsim::Faults slow;
    slow.latency_ms = 800;
    sim->set_faults(slow);

    client->GetHdr(ip(), port());
    client->GetHdr(ip(), port());
    const auto start = Clock::now();
    client->GetHdr(fast->host().c_str(), fast->port());
    const auto first = Recorder::get().wait_answers(1);
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].ip, "127.0.0.2");
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(700));
    EXPECT_EQ(Recorder::get().wait_answers(3).size(), 3u);
    client.reset();
    fast->stop();
}

TEST_F(ClientTest, CamerasAreServedInParallelByThePool) {
    std::vector<std::unique_ptr<oscsim::CameraSim>> cameras;
    oscsim::Faults slow;
    slow.latency_ms = 300;
    for (int i = 2; i <= 5; ++i) {
        oscsim::SimConfig c;
        c.host = "127.0.0." + std::to_string(i);
        cameras.push_back(start_camera(c));
        cameras.back()->set_faults(slow);
    }
    const auto start = Clock::now();
    for (auto& c : cameras) client->GetWdr(c->host().c_str(), c->port());
    const auto answers = Recorder::get().wait_answers(4);
    ASSERT_EQ(answers.size(), 4u);
    // Four threads: four slow cameras take about one delay, not four.
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(1100));
    client.reset();
    for (auto& c : cameras) c->stop();
}

std::atomic<int> g_calls{0};
std::atomic<bool> g_in_callback{false};

void slow_callback(const char*, const char*, int) {
    g_in_callback = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ++g_calls;
    g_in_callback = false;
}

TEST_F(ClientTest, ReleaseWaitsForRunningCallbacksAndDropsTheRest) {
    g_calls = 0;
    client->SetOscCallback(slow_callback);
    for (int i = 0; i < 20; ++i) client->GetHdr(ip(), port());
    while (g_calls == 0 && !g_in_callback) std::this_thread::yield();
    const auto start = Clock::now();
    client.reset();
    EXPECT_FALSE(g_in_callback);
    const int after_release = g_calls;
    EXPECT_GE(after_release, 1);
    EXPECT_LT(after_release, 20);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(3));
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(g_calls, after_release);
}

TEST_F(ClientTest, ReleaseAbortsARequestThatHangs) {
    oscsim::Faults f;
    f.never_answer = true;
    sim->set_faults(f);
    client->GetHdr(ip(), port());
    while (sim->requests().empty()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const auto start = Clock::now();
    client.reset();
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(1000));
    const auto answers = Recorder::get().answers();
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].doc()["reason"], "Request exception");
    sim->set_faults({});
}

TEST_F(ClientTest, OperationsNeverCallBackInsideTheCall) {
    thread_local bool inside = false;
    static std::atomic<int> reentrant{0};
    reentrant = 0;
    client->SetOscCallback([](const char*, const char*, int) {
        if (inside) ++reentrant;
        Recorder::get().add({"", "", 0});
    });
    sim->stop();  // failures are the fastest answers
    for (int i = 0; i < 10; ++i) {
        inside = true;
        client->GetHdr(ip(), port());
        inside = false;
    }
    EXPECT_EQ(Recorder::get().wait_answers(10).size(), 10u);
    EXPECT_EQ(reentrant, 0);
}

}  // namespace
}  // namespace osctest
