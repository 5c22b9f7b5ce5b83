// Command-line functions: the "func" sent, the lines the camera answers, and
// the module-version query handed over as an options reply.
#include "client_harness.h"

namespace osctest {
namespace {

using nlohmann::json;

json results_of(const Answer& a, const char* func) {
    EXPECT_EQ(a.status, 0) << a.text;
    const json doc = a.doc();
    EXPECT_EQ(doc["name"], "camera._cmdLine");
    EXPECT_EQ(doc["func"], func);
    return doc["results"];
}

TEST_F(ClientTest, NetworkSyslogAndAuthSettingsReadBackAsLines) {
    client->SetStaticIp(ip(), "127.0.0.20", "127.0.0.254", "255.255.255.0", port());
    client->SetSyslogEnable(ip(), "127.0.0.9", 5514, 1, port());
    client->SetAuthEnable(ip(), true, port());
    client->GetNetSetting(ip(), port());
    client->GetSyslogEnable(ip(), port());
    client->GetAuthEnable(ip(), port());
    const auto answers = Recorder::get().wait_answers(6);
    ASSERT_EQ(answers.size(), 6u);
    EXPECT_EQ(results_of(answers[3], "GetEthernetSettings")["response"],
              (json{"static", "127.0.0.20", "255.255.255.0", "127.0.0.254"}));
    EXPECT_EQ(results_of(answers[4], "GetSyslogSettings")["response"],
              (json{"1", "5514", "127.0.0.9"}));
    EXPECT_EQ(results_of(answers[5], "GetAuthEnable")["response"], (json{"1"}));
}

TEST_F(ClientTest, EncoderAndVersionQueries) {
    client->SetBitrate(ip(), 3000, port());
    client->GetQPpreview(ip(), port());
    client->GetFwVer1220ByIp(ip(), port());
    const auto answers = Recorder::get().wait_answers(3);
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_EQ(results_of(answers[1], "GetQpPreview")["response"][0], "3000000 60 22 45");
    EXPECT_EQ(results_of(answers[2], "GetFwVer1220")["response"], (json{"AST107_20240115"}));
}

TEST_F(ClientTest, ModuleVersionsArriveAsAnOptionsReply) {
    client->GetFwVer1220_1230(ip(), port());
    const Answer a = one_answer();
    EXPECT_EQ(a.status, 0);
    EXPECT_EQ(
        a.doc(),
        (json{{"name", "camera.getOptions"},
              {"state", "done"},
              {"results",
               {{"options",
                 {{"_imrxVersion",
                   {{"AST1220", "AST107_20240115"}, {"AST1235", "AST1235_Q07261_2.4.1"}}}}}}}}));
    const auto requests = sim->requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(json::parse(requests[0].body)["parameters"]["func"], "GetFwVer1220_1230");
}

TEST_F(ClientTest, HealthQueriesCarryOptionsObjects) {
    sim->update_state([](oscsim::CameraState& s) {
        s.cpu_used = 42.5;
        s.process_ok = false;
    });
    client->GetProcessList(ip(), port());
    client->GetCpuUsage(ip(), port());
    client->GetMemoryUsage(ip(), port());
    client->GetAst1230UsbList(ip(), port());
    const auto answers = Recorder::get().wait_answers(4);
    ASSERT_EQ(answers.size(), 4u);
    EXPECT_EQ(results_of(answers[0], "GetProcessList")["options"]["ProcessList"]["state"], "FAIL");
    EXPECT_EQ(results_of(answers[1], "GetCpuUsage")["options"]["CpuUsage"]["CPU used"], 42.5);
    const json memory = results_of(answers[2], "GetMemoryUsage")["options"]["MemoryUsage"];
    EXPECT_TRUE(memory.contains("Total"));
    EXPECT_TRUE(memory.contains("used"));
    EXPECT_FALSE(results_of(answers[3], "GetAst1230UsbList")["response"].empty());
}

TEST_F(ClientTest, GyroLinesOnlyWhileEnabled) {
    client->GetGyroAndAccel(ip(), port());
    client->EnableGyro(ip(), port());
    client->GetGyroAndAccel(ip(), port());
    const auto answers = Recorder::get().wait_answers(3);
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_TRUE(results_of(answers[0], "GetGyroAndAccel")["response"].empty());
    EXPECT_EQ(results_of(answers[2], "GetGyroAndAccel")["response"].size(), 2u);
}

TEST_F(ClientTest, SendCmdLineCarriesTheCommandText) {
    client->SendCmdLine(ip(), "ast_param g version:ruvo:version", port());
    client->SendCmdLine(ip(), "frobnicate now", port());
    const auto answers = Recorder::get().wait_answers(2);
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(results_of(answers[0], "SendCmdLine")["response"][0], "OEM_AST107_20240115");
    EXPECT_EQ(results_of(answers[1], "SendCmdLine")["response"][0], "sh: frobnicate: not found");
}

TEST_F(ClientTest, SaveKeepsOptionsAcrossReboot) {
    client->SetContrast(ip(), 70, port());
    client->AstParamRwSave(ip(), port());
    client->SetContrast(ip(), 10, port());
    const auto answers = Recorder::get().wait_answers(3);
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_EQ(results_of(answers[1], "AstParamRwSave")["response"][0], "saved");
    EXPECT_EQ(sim->snapshot()["saved_options"]["_contrast"], 70);
    EXPECT_EQ(sim->snapshot()["options"]["_contrast"], 10);
}

}  // namespace
}  // namespace osctest
