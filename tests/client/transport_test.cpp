// Release with exchanges in flight. Order and one kept-alive connection per
// camera, cameras that close idle connections or ask for credentials are the
// e2e fault matrix's; every camera in flight at once is the e2e fleet's.
#include <atomic>
#include <thread>

#include "client_harness.h"
#include "support/eventually.h"

namespace osctest {
namespace {

std::atomic<int> g_answers{0};
std::atomic<bool> g_in_callback{false};
std::atomic<bool> g_released{false};
std::atomic<int> g_after_release{0};

void slow_callback(const char* text, const char* ip, int status) {
    if (g_released) ++g_after_release;
    g_in_callback = true;
    std::this_thread::sleep_for(50ms);
    if (status != 0) Recorder::get().add({text, ip, status});
    ++g_answers;
    g_in_callback = false;
}

TEST_F(ClientTest, ReleaseEndsExchangesInFlightAndNothingFollowsIt) {
    oscsim::SimConfig config;
    config.host = "127.0.0.2";
    auto silent = start_camera(config);
    oscsim::Faults hold;
    hold.never_answer = true;
    silent->set_faults(hold);
    g_answers = 0;
    g_released = false;
    g_after_release = 0;
    client->SetOscCallback(slow_callback);
    for (int i = 0; i < 20; ++i) client->GetHdr(ip(), port());
    for (int i = 0; i < 5; ++i) client->GetHdr(silent->host().c_str(), silent->port());
    ASSERT_TRUE(eventually([&] { return g_answers > 0 && !silent->requests().empty(); }));
    const auto start = std::chrono::steady_clock::now();
    client.reset();
    g_released = true;
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
    EXPECT_FALSE(g_in_callback);
    EXPECT_LT(g_answers, 25);
    // Each camera's exchange in flight ends with one failure; what waits
    // behind it is dropped.
    std::size_t from_silent = 0;
    for (const Answer& a : Recorder::get().wait_answers(0, 0ms)) {
        EXPECT_TRUE(has_members(
            a.doc(), {{"reason", "Request exception"}, {"cause", "client shutting down"}}));
        from_silent += a.ip == silent->host() ? 1 : 0;
    }
    EXPECT_EQ(from_silent, 1u);
    EXPECT_EQ(silent->requests().size(), 1u);
    EXPECT_EQ(g_after_release, 0);
    silent->set_faults({});
}

}  // namespace
}  // namespace osctest
