// A firmware update through the whole chain: the files reach the camera, the
// host hears each upload and the progress up to the end.
#include <fstream>

#include "e2e_fixture.h"

namespace e2e {
namespace {

class Firmware : public EndToEndTest {};

TEST_F(Firmware, BothModulesUploadAndReportProgressToTheEnd) {
    auto& camera = start_camera(31);
    const std::string ip = camera.host();
    const std::string dir = ::testing::TempDir();
    auto file = [&](const std::string& name, std::size_t size) {
        const std::string path = dir + "/" + name;
        std::ofstream(path, std::ios::binary) << std::string(size, 'x');
        return path;
    };
    UpdateFirmwareAll(ip.c_str(), camera.port(), file("ast_update_1230_7261.sh", 20).c_str(),
                      file("ast_update.sh", 20).c_str(), file("ast1235_fw.bin", 4096).c_str(),
                      file("update.img", 64 * 1024).c_str());
    auto lines = [&] {
        std::vector<ProgressReport> out;
        for (const auto& p : events().progress()) {
            if (p.ip == ip) out.push_back(p);
        }
        return out;
    };
    ASSERT_TRUE(wait_for(
        [&] { return !lines().empty() && lines().back().text.find("[FW update end]") == 0; }, 20s))
        << "no end of the update";
    ASSERT_GE(lines().size(), 2u) << "only the end was reported";
    EXPECT_EQ(lines().back().percent, 100);
    // The image is confirmed with true, scripts with false, other files not at all.
    std::vector<bool> uploads;
    for (const auto& [from, ok] : events().uploads()) {
        if (from == ip) uploads.push_back(ok);
    }
    EXPECT_EQ(uploads, (std::vector<bool>{true, false, false}));
    const nlohmann::json stored = camera.snapshot().at("uploads");
    EXPECT_EQ(stored.at("update.img"), 64 * 1024);
    EXPECT_EQ(stored.at("ast1235_fw.bin"), 4096);
}

}  // namespace
}  // namespace e2e
