// Firmware updates: uploads confirmed byte for byte, the update's lines
// relayed in order until its last one, failures named after the update. The
// AST1230 module's files under their own names are oscctl's update test.
#include <unistd.h>

#include <fstream>
#include <functional>

#include "client_harness.h"

namespace osctest {
namespace {

using nlohmann::json;

class FirmwareTest : public ClientTest {
public:
    void SetUp() override {
        ClientTest::SetUp();
        dir_ = ::testing::TempDir() + "osc-fw-" + std::to_string(::getpid());
        ASSERT_EQ(system(("mkdir -p " + dir_).c_str()), 0);
    }
    void TearDown() override {
        ClientTest::TearDown();
        EXPECT_EQ(system(("rm -rf " + dir_).c_str()), 0);
    }
    std::string file(const std::string& name, std::size_t size = 3) {
        const std::string path = dir_ + "/" + name;
        std::ofstream(path, std::ios::binary) << std::string(size, 'x');
        return path;
    }
    // Every answer up to the one that ends the update: its last line or a
    // failure document.
    std::vector<Answer> until_finished() {
        for (std::size_t n = 1; n < 64; ++n) {
            const auto answers = Recorder::get().wait_answers(n);
            if (answers.size() < n) return answers;
            const Answer& last = answers.back();
            if (last.status != 0 || last.text.find("[FW update end]") != std::string::npos ||
                last.text.find("[FW update next]") != std::string::npos)
                return answers;
        }
        return {};
    }
    std::string dir_;
};

TEST_F(FirmwareTest, Update1220UploadsTheImageAndRelaysEveryLine) {
    client->Update1220(ip(), file("my-firmware.bin", 100000).c_str(), port());
    const auto answers = until_finished();
    ASSERT_EQ(answers.size(), 8u);
    EXPECT_EQ(answers[0].text,
              R"({"name": "camera.uploadfile","func": "UploadFile","results": {"options": )"
              R"({"uploadfile": update.img}},"state": "done"})");
    EXPECT_EQ(answers[1].text, "[Fw Update Msg] Updating AST1220 firmware");
    for (std::size_t i = 2; i < 7; ++i) {
        ASSERT_EQ(answers[i].text.rfind("[FW updating] ", 0), 0u) << answers[i].text;
        EXPECT_EQ(json::parse(answers[i].text.substr(
                      14))["results"]["options"]["_updateStatus"]["progress"],
                  (i - 2) * 25);
    }
    EXPECT_EQ(answers.back().text, "[FW update end]");
    for (const Answer& a : answers) EXPECT_EQ(a.status, 0);
    EXPECT_EQ(sim->snapshot()["uploads"]["update.img"], 100000);
    // The camera keeps the image's digest, not the image (sha256sum).
    EXPECT_EQ(sim->snapshot()["upload_sha256"]["update.img"],
              "d69e68988157833272305aaf21f453c800346e8a3640db6578e260215542e5d4");
}

// Updates the camera refuses or cannot finish: the last line or document.
TEST_F(FirmwareTest, FailuresEndTheUpdateWithOneLastAnswer) {
    struct Case {
        const char* name;
        const char* fault;  // the simulator's fail_update switch
        std::function<void()> call;
        std::string last;
    };
    const Case cases[] = {
        {"wrong module", "",
         [&] {
             client->Update1230_4932(ip(), file("ast_update_1230_4932.sh").c_str(), "", "", port());
         },
         "[FW update next] Wrong camera ast1235 module detected, expected Q04932 or Q04937."},
        {"script missing on the camera", "",
         [&] { client->UpdateFWAll(ip(), file("update.img").c_str(), "", "", "", port()); },
         "[FW update next] ast_update_1230_7261.sh not found"},
        {"hardware refused", "hw",
         [&] { client->Update1220(ip(), file("fw.img").c_str(), port()); },
         "[FW update next] Old Version of HW"},
        {"local file missing", "",
         [&] {
             client->UpdateFWAll(ip(), file("fw.img").c_str(), (dir_ + "/absent.sh").c_str(), "",
                                 "", port());
         },
         json{{"name", "camera._uploadFile"},
              {"func", "UpdateFWAll"},
              {"reason", "File not found: " + dir_ + "/absent.sh"}}
             .dump()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Recorder::get().reset();
        sim->clear_requests();
        oscsim::Faults faults;
        faults.fail_update = c.fault;
        sim->set_faults(faults);
        c.call();
        const auto answers = until_finished();
        ASSERT_FALSE(answers.empty());
        EXPECT_EQ(answers.back().text, c.last);
        EXPECT_FALSE(sim->snapshot()["updating"]);
    }
    EXPECT_TRUE(sim->requests().empty()) << "the missing file stopped nothing from going out";
}

TEST_F(FirmwareTest, ACameraThatGoesAwayMidUpdateEndsItWithARequestException) {
    oscsim::SimConfig config;
    config.host = "127.0.0.2";
    config.update_step = 200ms;
    config.reboot_downtime = 300ms;
    auto camera = start_camera(config);
    client->Update1220(camera->host().c_str(), file("fw.img").c_str(), camera->port());
    ASSERT_GE(Recorder::get().wait_answers(2).size(), 2u);  // uploaded, update running
    camera->power_cycle();
    const auto answers = until_finished();
    ASSERT_FALSE(answers.empty());
    EXPECT_TRUE(has_members(
        answers.back().doc(),
        {{"name", "camera._update"}, {"func", "Update1220"}, {"reason", "Request exception"}}));
    client.reset();
}

}  // namespace
}  // namespace osctest
