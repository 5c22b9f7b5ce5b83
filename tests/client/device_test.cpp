// Device information, camera state, streaming, capture and reboot.
#include <thread>

#include "client_harness.h"

namespace osctest {
namespace {

using nlohmann::json;

TEST_F(ClientTest, InfoCarriesTheFirmwareSpellings) {
    client->GetInfo(ip(), port());
    const Answer a = one_answer();
    EXPECT_EQ(a.status, 0);
    const json doc = a.doc();
    EXPECT_EQ(doc["manufaturer"], "OSC Camera Simulator");
    EXPECT_EQ(doc["_chipId"], "0x7a3c0001");
    EXPECT_EQ(doc["model"], "Q07261");
    EXPECT_EQ(doc["serialNumber"], "SIM0001");
    ASSERT_EQ(sim->requests().size(), 1u);
    EXPECT_EQ(sim->requests()[0].method, "GET");
    EXPECT_EQ(sim->requests()[0].path, "/osc/info");
}

TEST_F(ClientTest, StateIsNamedStateAndCarriesTheHealthGroups) {
    client->StartStreaming(ip(), port());
    client->GetCameraState(ip(), port());
    const auto answers = Recorder::get().wait_answers(2);
    ASSERT_EQ(answers.size(), 2u);
    const json doc = answers[1].doc();
    EXPECT_EQ(doc["name"], "state");
    const json& s = doc["state"];
    EXPECT_EQ(s["imrxMode"], 1);
    EXPECT_EQ(s["mode"], (json{"inPreview"}));
    EXPECT_EQ(s["ProcessList"]["state"], "OK");
    EXPECT_TRUE(s["CpuUsage"].contains("CPU used"));
    EXPECT_TRUE(s["MemoryUsage"].contains("Total"));
}

TEST_F(ClientTest, StateGroupsCanBeLeftOut) {
    oscsim::Faults f;
    f.omit_state_groups = "imrxMode,CpuUsage";
    sim->set_faults(f);
    client->GetCameraState(ip(), port());
    const json s = one_answer().doc()["state"];
    EXPECT_FALSE(s.contains("imrxMode"));
    EXPECT_FALSE(s.contains("CpuUsage"));
    EXPECT_TRUE(s.contains("MemoryUsage"));
}

TEST_F(ClientTest, StreamingStartsAndStops) {
    client->StartStreaming(ip(), port());
    auto answers = Recorder::get().wait_answers(1);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].doc(), (json{{"name", "camera._getLivePreview"}, {"state", "done"}}));
    EXPECT_TRUE(sim->snapshot()["streaming"]);
    client->StopStreaming(ip(), port());
    answers = Recorder::get().wait_answers(2);
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[1].doc()["name"], "camera._stopLivePreview");
    EXPECT_FALSE(sim->snapshot()["streaming"]);
}

TEST_F(ClientTest, ScreenshotIsPolledUntilDone) {
    client->TakeScreenShot(ip(), port());
    const Answer started = one_answer();
    const json first = started.doc();
    EXPECT_EQ(first["name"], "camera.startCapture");
    EXPECT_EQ(first["func"], "TakeSrcScreenShotByIp");
    ASSERT_TRUE(first["id"].is_number_integer());
    const std::string id = std::to_string(first["id"].get<int>());

    std::string state;
    json last;
    for (int polls = 1; polls <= 40 && state != "done"; ++polls) {
        client->GetCaptureStatus(ip(), port());
        const auto answers = Recorder::get().wait_answers(1 + polls);
        ASSERT_EQ(answers.size(), 1u + polls);
        last = answers.back().doc();
        ASSERT_EQ(answers.back().status, 0) << answers.back().text;
        EXPECT_EQ(last["func"], "GetCaptureStatus");
        EXPECT_EQ(last["id"], id);  // a text in status answers
        state = last["state"];
        if (state != "done") std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(state, "done");
    const auto statuses = sim->requests();
    EXPECT_EQ(json::parse(statuses.back().body), (json{{"id", id}}));
}

TEST_F(ClientTest, StatusWithoutCaptureFailsWithTheCameraMessage) {
    client->GetCaptureStatus(ip(), port());
    const Answer a = one_answer();
    EXPECT_NE(a.status, 0);
    EXPECT_EQ(a.doc()["func"], "GetCaptureStatus");
    EXPECT_EQ(a.doc()["reason"], "unknown command id ");
}

TEST_F(ClientTest, RebootAnswersThenTheCameraIsAwayForAWhile) {
    client->SetSharpness(ip(), 90, port());
    client->Reboot(ip(), port());
    auto answers = Recorder::get().wait_answers(2);
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[1].status, 0);
    EXPECT_EQ(answers[1].doc(), (json{{"name", "reboot"}, {"state", "done"}}));

    // Answers resume once the reboot is over, with unsaved options lost.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    bool away = false;
    bool back = false;
    for (std::size_t n = 3; !back && std::chrono::steady_clock::now() < deadline; ++n) {
        client->GetCameraName(ip(), port());
        answers = Recorder::get().wait_answers(n);
        ASSERT_EQ(answers.size(), n);
        if (answers.back().status != 0) {
            away = true;
            EXPECT_EQ(answers.back().doc()["reason"], "Request exception");
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        } else {
            back = true;
        }
    }
    EXPECT_TRUE(away);
    EXPECT_TRUE(back);
    EXPECT_EQ(sim->snapshot()["reboots"], 1);
    EXPECT_EQ(sim->snapshot()["options"]["_sharpness"], 50);
}

TEST_F(ClientTest, FailedRebootNamesReboot) {
    sim->stop();
    client->Reboot(ip(), port());
    const Answer a = one_answer();
    EXPECT_NE(a.status, 0);
    EXPECT_EQ(a.doc(),
              (json{{"name", "reboot"}, {"func", "Reboot"}, {"reason", "Request exception"}}));
}

}  // namespace
}  // namespace osctest
