// Firmware updates through the whole chain: files uploaded to the camera,
// upload confirmations and progress reports up to the end marker.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <ostream>
#include <vector>

#include "e2e_fixture.h"

namespace e2e {
namespace {

// A firmware package in a fresh temporary directory.
class FirmwareFiles {
public:
    FirmwareFiles() {
        char pattern[] = "/tmp/osc-e2e-fw-XXXXXX";
        const char* made = mkdtemp(pattern);
        if (made != nullptr) dir_ = made;
    }
    ~FirmwareFiles() {
        for (const auto& path : paths_) std::remove(path.c_str());
        if (!dir_.empty()) std::remove(dir_.c_str());
    }
    bool ok() const { return !dir_.empty(); }

    std::string add(const std::string& name, const std::string& content) {
        const std::string path = dir_ + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        paths_.push_back(path);
        return path;
    }

private:
    std::string dir_;
    std::vector<std::string> paths_;
};

struct UpdateCase {
    const char* name;
    bool with_image;  // the AST1220 image goes along
    std::vector<bool> uploads;
};

void PrintTo(const UpdateCase& c, std::ostream* os) {
    *os << c.name;
}

class Firmware : public EndToEndTest, public ::testing::WithParamInterface<UpdateCase> {};

TEST_P(Firmware, UploadsAndReportsProgressToTheEnd) {
    const UpdateCase& c = GetParam();
    auto& camera = start_camera(c.with_image ? 31 : 32);
    const std::string ip = camera.host();
    FirmwareFiles files;
    ASSERT_TRUE(files.ok());
    const std::string script = files.add("ast_update_1230_7261.sh", "#!/bin/sh\necho update\n");
    const std::string common = files.add("ast_update.sh", "#!/bin/sh\n");
    const std::string module = files.add("ast1235_fw.bin", std::string(4096, '\x5a'));

    if (c.with_image) {
        const std::string image = files.add("update.img", std::string(64 * 1024, '\x7f'));
        UpdateFirmwareAll(ip.c_str(), camera.port(), script.c_str(), common.c_str(), module.c_str(),
                          image.c_str());
    } else {
        // The module's update script is chosen by the model the camera reported.
        refresh_settings(camera);
        Update1230Firmware(ip.c_str(), camera.port(), script.c_str(), common.c_str(),
                           module.c_str());
    }

    auto finished = [&] {
        for (const auto& p : events().progress()) {
            if (p.ip == ip && p.text.find("[FW update end]") != std::string::npos) return true;
        }
        return false;
    };
    ASSERT_TRUE(wait_for(finished, 20s)) << "no end of the update";

    std::vector<bool> uploads;
    for (const auto& [from, ok] : events().uploads()) {
        if (from == ip) uploads.push_back(ok);
    }
    EXPECT_EQ(uploads, c.uploads);

    std::vector<ProgressReport> progress;
    for (const auto& p : events().progress()) {
        if (p.ip == ip) progress.push_back(p);
    }
    ASSERT_GE(progress.size(), 2u) << "only the end was reported";
    EXPECT_EQ(progress.back().percent, 100);
    EXPECT_NE(progress.back().text.find("[FW update end]"), std::string::npos)
        << progress.back().text;

    const nlohmann::json stored = camera.snapshot().at("uploads");
    EXPECT_TRUE(stored.contains("ast_update_1230_7261.sh"));
    EXPECT_TRUE(stored.contains("ast1235_fw.bin"));
    EXPECT_EQ(stored.contains("update.img"), c.with_image);
}

INSTANTIATE_TEST_SUITE_P(
    Packages, Firmware,
    ::testing::Values(
        // The image is confirmed with true, scripts with false, other files not at all.
        UpdateCase{"All", true, {true, false, false}},
        UpdateCase{"Module1230", false, {false, false}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace e2e
