// Firmware updates: the paths wait in the record and one command stands for
// the whole update; the camera's upload and progress texts reach the host.
#include "commands/operation_cases.h"

namespace commands_test {

namespace {

void expect_paths(const CAM_PARAM& r, const std::string& path_1220, const std::string& path_1,
                  const std::string& path_2, const std::string& path_3) {
    EXPECT_EQ(r.fw_1220_path, path_1220);
    EXPECT_EQ(r.fw_1230_path_1, path_1);
    EXPECT_EQ(r.fw_1230_path_2, path_2);
    EXPECT_EQ(r.fw_1230_path_3, path_3);
}

RecordEdit earlier_paths() {
    return [](CAM_PARAM& r) {
        r.fw_1220_path = "/old/update.img";
        r.fw_1230_path_1 = "/old/1.bin";
        r.fw_1230_path_2 = "/old/2.bin";
        r.fw_1230_path_3 = "/old/3.sh";
    };
}

}  // namespace

std::vector<OperationCase> firmware_cases() {
    return {
        operation("Update1220Firmware",
                  [](const char* ip, int port) { Update1220Firmware(ip, port, "/fw/update.img"); })
            .given(earlier_paths())
            .queues({"Update1220"})
            .reports({{"http_port", kPort}})
            .stores([](const CAM_PARAM& r) {
                expect_paths(r, "/fw/update.img", "/old/1.bin", "/old/2.bin", "/old/3.sh");
            })
            .sends({"Update1220(10.0.0.5, /fw/update.img, 8081)"}),
        operation("Update1220Firmware_empty_path",
                  [](const char* ip, int port) { Update1220Firmware(ip, port, ""); })
            .given(earlier_paths())
            .queues({"Update1220"})
            .reports({{"http_port", kPort}})
            .stores([](const CAM_PARAM& r) { EXPECT_EQ(r.fw_1220_path, ""); })
            .sends({"Update1220(10.0.0.5, , 8081)"}),
        operation("Update1230Firmware",
                  [](const char* ip, int port) {
                      Update1230Firmware(ip, port, "/fw/a.bin", "/fw/b.bin", "/fw/c.sh");
                  })
            .given([](CAM_PARAM& r) {
                earlier_paths()(r);
                r.model = "Q07261";
            })
            .queues({"Update1230"})
            .reports({{"http_port", kPort}})
            .stores([](const CAM_PARAM& r) {
                expect_paths(r, "/old/update.img", "/fw/a.bin", "/fw/b.bin", "/fw/c.sh");
            })
            .sends({"Update1230_7261(10.0.0.5, /fw/a.bin, /fw/b.bin, /fw/c.sh, 8081)"}),
        // The 1230 files come first and the 1220 file last.
        operation("UpdateFirmwareAll",
                  [](const char* ip, int port) {
                      UpdateFirmwareAll(ip, port, "/fw/A.bin", "/fw/B.bin", "/fw/C.sh",
                                        "/fw/D.img");
                  })
            .given(earlier_paths())
            .queues({"UpdateFWAll"})
            .reports({{"http_port", kPort}})
            .stores([](const CAM_PARAM& r) {
                expect_paths(r, "/fw/D.img", "/fw/A.bin", "/fw/B.bin", "/fw/C.sh");
            })
            .sends({"UpdateFWAll(10.0.0.5, /fw/D.img, /fw/A.bin, /fw/B.bin, /fw/C.sh, 8081)"}),
        operation("GetUpdateProgress",
                  [](const char* ip, int port) { GetUpdateProgress(ip, port); })
            .given([](CAM_PARAM& r) {
                earlier_paths()(r);
                r.update_progress = 40;
            })
            .queues({"GetUpdateProgress"})
            .reports({{"http_port", kPort}})
            .stores([](const CAM_PARAM& r) {
                expect_paths(r, "/old/update.img", "/old/1.bin", "/old/2.bin", "/old/3.sh");
                EXPECT_EQ(r.update_progress, 40);
            })
            .sends({"GetUpdateProgress(10.0.0.5, 8081)"}),
    };
}

INSTANTIATE_TEST_SUITE_P(Firmware, OperationSubmission, testing::ValuesIn(firmware_cases()),
                         case_name);
INSTANTIATE_TEST_SUITE_P(Firmware, OperationWithoutClientLibrary,
                         testing::ValuesIn(firmware_cases()), case_name);

namespace {

using Firmware = HandlerTest;

TEST_F(Firmware, PathChangedBeforeTheWorkerRunsIsWhatTheQueuedUpdateUploads) {
    add_held_camera(kIp);
    UpdateFirmwareAll(kIp, kPort, "/fw/A.bin", "/fw/B.bin", "/fw/C.sh", "/fw/D.img");
    Update1220Firmware(kIp, kPort, "/fw/NEW.img");
    EXPECT_EQ(Access::queued_names(kIp), (std::vector<std::string>{"UpdateFWAll", "Update1220"}));
    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_call("UpdateFWAll("));
    EXPECT_EQ(calls_for(kIp).front(),
              "UpdateFWAll(10.0.0.5, /fw/NEW.img, /fw/A.bin, /fw/B.bin, /fw/C.sh, 8081)");
}

std::string upload_confirmation(const std::string& file) {
    return R"({"name": "camera.uploadfile","func": "UploadFile","results": {"options": {"uploadfile": )" +
           file + R"(}},"state": "done"})";
}

const char* const kUpdateMessage = "[Fw Update Msg] erasing flash bank 1";
const char* const kWritingStatus =
    R"({"name":"camera.getOptions","results":{"options":{"_updateStatus":{"progress":40,"target":2,"description":"writing"}}}})";
const char* const kUpdateEnd = "[FW update end] all modules updated, camera restarts";

// The update script of each camera module.
class FirmwareConversation : public HandlerTest, public testing::WithParamInterface<const char*> {};

TEST_P(FirmwareConversation, UploadsAndProgressReachTheHostInOrder) {
    const std::string module_script = GetParam();
    client().on_call(
        [module_script](const std::string& line, const std::string& ip, ClientDouble& camera) {
            if (line.rfind("UpdateFWAll(", 0) != 0) return;
            for (const std::string& text :
                 {std::string(kUpdateMessage), upload_confirmation("update.img"),
                  upload_confirmation("ast_update.sh"), upload_confirmation(module_script),
                  "[FW updating] " + std::string(kWritingStatus), std::string(kUpdateEnd)}) {
                camera.respond(text, ip);
            }
        });

    UpdateFirmwareAll(kIp, kPort, "/fw/A.bin", "/fw/B.bin", "/fw/C.sh", "/fw/update.img");
    ASSERT_TRUE(eventually([] {
        const auto progress = events().progress();
        return !progress.empty() && progress.back().percent == 100;
    }));

    EXPECT_EQ(calls_for(kIp), std::vector<std::string>{"UpdateFWAll(10.0.0.5, /fw/update.img, "
                                                       "/fw/A.bin, /fw/B.bin, /fw/C.sh, 8081)"});
    EXPECT_EQ(events().uploads(),
              (std::vector<std::pair<std::string, bool>>{{kIp, true}, {kIp, false}, {kIp, false}}));
    const auto progress = events().progress();
    ASSERT_EQ(progress.size(), 3u);
    EXPECT_EQ(progress[0].ip, kIp);
    EXPECT_EQ(progress[0].text, kUpdateMessage);
    EXPECT_EQ(progress[0].percent, 0);
    EXPECT_EQ(progress[1].ip, kIp);
    EXPECT_EQ(progress[1].text, "2 : writing");
    EXPECT_EQ(progress[1].percent, 40);
    EXPECT_EQ(progress[2].ip, kIp);
    EXPECT_EQ(progress[2].text, kUpdateEnd);
    EXPECT_EQ(progress[2].percent, 100);
    EXPECT_TRUE(events().has_log(kWritingStatus));
    EXPECT_TRUE(events().results().empty());
    EXPECT_EQ(Access::record(kIp)->update_progress, 100);
}

INSTANTIATE_TEST_SUITE_P(Modules, FirmwareConversation,
                         testing::Values("ast_update_1230_7261.sh", "ast_update_1230_6127.sh",
                                         "ast_update_1230_4932.sh"),
                         [](const testing::TestParamInfo<const char*>& info) {
                             const std::string script = info.param;
                             return script.substr(16, 4);  // the module number
                         });

}  // namespace
}  // namespace commands_test
