// Firmware updates: uploads confirmed byte for byte, the update lines relayed
// in order, failures reported with the update's function name.
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "client_harness.h"

namespace osctest {
namespace {

using nlohmann::json;

const std::string kConfirmImage =
    R"({"name": "camera.uploadfile","func": "UploadFile","results": {"options": {"uploadfile": update.img}},"state": "done"})";
const std::string kConfirmScript7261 =
    R"({"name": "camera.uploadfile","func": "UploadFile","results": {"options": {"uploadfile": ast_update_1230_7261.sh}},"state": "done"})";

class FirmwareTest : public ClientTest {
protected:
    void SetUp() override {
        ClientTest::SetUp();
        dir_ = "/tmp/osc-fw-" + std::to_string(::getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name();
        std::remove(dir_.c_str());
        ASSERT_EQ(system(("mkdir -p " + dir_).c_str()), 0);
    }
    void TearDown() override {
        ClientTest::TearDown();
        ASSERT_EQ(system(("rm -rf " + dir_).c_str()), 0);
    }
    std::string file(const std::string& name, const std::string& content) {
        const std::string path = dir_ + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    // Waits for the answer that ends an update: the end marker, a failure
    // line or a failure document.
    std::vector<Answer> until_finished() {
        for (std::size_t n = 1; n < 64; ++n) {
            auto answers = Recorder::get().wait_answers(n);
            if (answers.size() < n) return answers;
            const Answer& last = answers.back();
            if (last.status != 0 || last.text.find("[FW update end]") != std::string::npos ||
                last.text.find("[FW update next]") != std::string::npos)
                return answers;
        }
        return Recorder::get().answers();
    }

    std::string dir_;
};

TEST_F(FirmwareTest, Update1220UploadsTheImageAndRelaysEveryLine) {
    const std::string image = file("my-firmware.bin", std::string(100000, 'x'));
    client->Update1220(ip(), image.c_str(), port());
    const auto answers = until_finished();
    ASSERT_GE(answers.size(), 3u);
    EXPECT_EQ(answers[0].text, kConfirmImage);
    EXPECT_EQ(answers[1].text, "[Fw Update Msg] Updating AST1220 firmware");
    int progress_lines = 0;
    for (std::size_t i = 2; i + 1 < answers.size(); ++i) {
        const std::string& t = answers[i].text;
        ASSERT_EQ(t.rfind("[FW updating] ", 0), 0u) << t;
        const json doc = json::parse(t.substr(14));
        EXPECT_EQ(doc["results"]["options"]["_updateStatus"]["progress"], progress_lines * 25);
        ++progress_lines;
    }
    EXPECT_EQ(progress_lines, 5);
    EXPECT_EQ(answers.back().text, "[FW update end]");
    for (const Answer& a : answers) EXPECT_EQ(a.status, 0);
    const json snap = sim->snapshot();
    EXPECT_EQ(snap["uploads"]["update.img"], 100000);
    EXPECT_EQ(snap["options"]["_updateStatus"]["progress"], 100);
}

TEST_F(FirmwareTest, Update1230UploadsUnderTheOwnNames) {
    const std::string script = file("ast_update_1230_7261.sh", "#!/bin/sh\n");
    const std::string a = file("ast1235_a.bin", "aaaa");
    const std::string b = file("ast1235_b.bin", "bb");
    client->Update1230_7261(ip(), script.c_str(), a.c_str(), b.c_str(), port());
    const auto answers = until_finished();
    ASSERT_GE(answers.size(), 4u);
    EXPECT_EQ(answers[0].text, kConfirmScript7261);
    EXPECT_NE(answers[1].text.find("uploadfile\": ast1235_a.bin}"), std::string::npos);
    EXPECT_EQ(answers.back().text, "[FW update end]");
    const auto requests = sim->requests();
    ASSERT_EQ(requests.size(), 4u);
    EXPECT_EQ(requests[2].body, "ast1235_b.bin");
    EXPECT_EQ(
        json::parse(requests[3].body)["parameters"],
        (json{{"target", "1230"}, {"model", "Q07261"}, {"script", "ast_update_1230_7261.sh"}}));
}

TEST_F(FirmwareTest, WrongModuleEndsWithTheScriptsMessage) {
    const std::string script = file("ast_update_1230_4932.sh", "#!/bin/sh\n");
    client->Update1230_4932(ip(), script.c_str(), "", "", port());
    const auto answers = until_finished();
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[1].text,
              "[FW update next] Wrong camera ast1235 module detected, expected Q04932 or Q04937.");
}

TEST_F(FirmwareTest, MissingScriptOnTheCameraIsReportedAsNotFound) {
    const std::string image = file("update.img", "img");
    client->UpdateFWAll(ip(), image.c_str(), "", "", "", port());
    const auto answers = until_finished();
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[0].text, kConfirmImage);
    EXPECT_EQ(answers[1].text, "[FW update next] ast_update_1230_7261.sh not found");
}

TEST_F(FirmwareTest, SwitchedFailureIsRelayed) {
    oscsim::Faults f;
    f.fail_update = "hw";
    sim->set_faults(f);
    const std::string image = file("fw.img", "img");
    client->Update1220(ip(), image.c_str(), port());
    const auto answers = until_finished();
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[1].text, "[FW update next] Old Version of HW");
    EXPECT_FALSE(sim->snapshot()["updating"]);
}

TEST_F(FirmwareTest, MissingLocalFileFailsBeforeAnyUpload) {
    const std::string image = file("fw.img", "img");
    client->UpdateFWAll(ip(), image.c_str(), (dir_ + "/absent.sh").c_str(), "", "", port());
    const Answer a = one_answer();
    EXPECT_NE(a.status, 0);
    EXPECT_EQ(a.doc(), (json{{"name", "camera._uploadFile"},
                             {"func", "UpdateFWAll"},
                             {"reason", "File not found: " + dir_ + "/absent.sh"}}));
    EXPECT_TRUE(sim->requests().empty());
}

TEST_F(FirmwareTest, UnreachableCameraIsARequestException) {
    sim->stop();
    const std::string script = file("ast_update_1230_7261.sh", "#!/bin/sh\n");
    client->Update1230_7261(ip(), script.c_str(), "", "", port());
    EXPECT_EQ(one_answer().doc(), (json{{"name", "camera._uploadFile"},
                                        {"func", "Update1230_7261"},
                                        {"reason", "Request exception"}}));
}

TEST_F(FirmwareTest, ProgressCanBePolledDuringTheUpdate) {
    sim->update_state([](oscsim::CameraState&) {});
    const std::string image = file("fw.img", "img");
    client->Update1220(ip(), image.c_str(), port());
    client->GetUpdateProgress(ip(), port());
    const auto answers = until_finished();
    // The poll waits behind the update: one request per camera at a time.
    auto last = Recorder::get().wait_answers(answers.size() + 1);
    ASSERT_EQ(last.size(), answers.size() + 1);
    EXPECT_EQ(last.back().doc()["results"]["options"]["_updateStatus"]["progress"], 100);
}

}  // namespace
}  // namespace osctest
