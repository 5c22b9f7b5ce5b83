// oscctl against a simulated camera on loopback: exit status, output and the
// camera's state afterwards, per group of subcommands.
#include <filesystem>

#include "host/settings_table.h"
#include "oscctl_sim_fixture.h"

namespace {

TEST_F(OscctlAgainstSim, SettingsAsATableOrOnlyTheDocument) {
    auto result = run("settings");
    ASSERT_EQ(result.status, 0) << result.err;
    // Columns padded to the widest cell; white balance in kelvin.
    for (const char* row :
         {"\nbrightness   0     100   50       \n", "\nawb          2800  6500  5000     K\n",
          "\nserial            SIM0001\n"})
        EXPECT_NE(result.out.find(row), std::string::npos) << row << result.out;
    // Every setting whose range the document states shows it: no "-" cell.
    for (const oschost::Setting& setting : oschost::settings()) {
        if (!setting.advertised()) continue;
        const auto row = result.out.find("\n" + std::string(setting.name) + " ");
        ASSERT_NE(row, std::string::npos) << setting.name;
        EXPECT_EQ(result.out.substr(row, result.out.find('\n', row + 1) - row).find(" - "),
                  std::string::npos)
            << result.out;
    }
    result = run("settings", {"--force"}, {"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    const json document = json::parse(result.out);  // throws on anything extra
    EXPECT_EQ(document.value("serial", ""), "SIM0001");
    EXPECT_TRUE(document.contains("brightness_current"));
    // The libraries' own messages go to stderr even when shown.
    result = run("health", {}, {"--json", "--verbose"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(json::parse(result.out).value("process_ok", false)) << result.out;
    EXPECT_NE(result.err.find("loading success"), std::string::npos) << result.err;
}

// Every setting of the table reaches the camera and the handler's document;
// a value outside the advertised range is refused before it is sent, one the
// camera rejects fails with the camera's reason.
TEST_F(OscctlAgainstSim, SetChangesEverySettingOrSaysWhyNot) {
    struct Case {
        const char* setting;
        const char* value;
        const char* option;  // the camera's
        int status;
        const char* message;
    };
    const Case table[] = {
        {"brightness", "42", "_brightness", 0, "brightness = 42 done"},
        {"contrast", "43", "_contrast", 0, ""},
        {"saturation", "44", "_saturation", 0, ""},
        {"sharpness", "45", "_sharpness", 0, ""},
        {"awb", "4500", "_awb", 0, ""},
        {"autoawb", "0", "_autoAwb", 0, ""},
        {"antiflicker", "2", "_antiflicker", 0, ""},
        {"wdr", "1", "_wdr", 0, ""},
        {"hdr", "1", "hdr", 0, ""},
        {"tiltshift", "2", "_tiltShift", 0, ""},
        {"bitrate", "6000", "_bitrate", 0, ""},
        {"mode", "1", "_imrxMode", 0, ""},
        {"brightness", "100000", "_brightness", 1, "brightness 100000 is outside its range 0..100"},
        {"bitrate", "999999999", "_bitrate", 1, "_bitrate out of range (1..100000 kbit/s)"},
    };
    for (const Case& c : table) {
        SCOPED_TRACE(std::string(c.setting) + " " + c.value);
        const json before = options()[c.option];
        const auto result = run("set", {c.setting, c.value});
        EXPECT_EQ(result.status, c.status) << result.err;
        EXPECT_NE((result.out + result.err).find(c.message), std::string::npos) << result.err;
        EXPECT_EQ(options()[c.option], c.status == 0 ? json(std::stoi(c.value)) : before);
    }
    const auto result = run("get", {}, {"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    const json document = json::parse(result.out);
    const json state = sim_->snapshot();
    EXPECT_EQ(document["camera_name"], state["options"]["_cameraName"]);
    EXPECT_EQ(document["ast1220_ver"], state["ast1220_version"]);
    for (const Case& c : table) {
        if (c.status != 0) continue;
        EXPECT_EQ(document[oschost::find_setting(c.setting)->member], std::stoi(c.value))
            << c.setting;
    }
}

// What --json roi prints, roi --set takes back; a layout the camera could
// not show is refused naming the field and its allowed range.
TEST_F(OscctlAgainstSim, ModeChangeAndRoiRoundTrip) {
    auto result = run("mode", {"2"}, {"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(json::parse(result.out)["mode"], 2);
    const std::string saved = scratch_file("roi.json"), edited = scratch_file("edited.json");
    const std::string svg_file = scratch_file("roi.svg");
    result = run("roi", {}, {"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    std::ofstream(saved) << result.out;
    const json original = json::parse(result.out)["_roi"];
    struct Case {
        const char* pointer;
        json value;
        int status;
        const char* message;
    };
    // The second region moved to the lower right quarter of both pictures.
    const json moved = {{"srcX", 1920}, {"srcY", 960}, {"srcW", 1920},
                        {"srcH", 960},  {"dstX", 960}, {"dstY", 540},
                        {"dstW", 960},  {"dstH", 540}, {"projection", 1}};
    const Case table[] = {
        {"/roiNum", 1, 1, "roiNum is 1 but roiParam holds 2 regions"},
        {"/roiParam/1/srcX", 3000, 1, "roiParam[1].srcW is 1920; allowed 1..840"},
        {"/srcWidth", "wide", 1, "srcWidth must be an integer"},
        {"/roiParam/1", moved, 0, "2  1920,960    1920x960    960,540     960x540     1\n"},
    };
    for (const Case& c : table) {
        json layout = original;
        layout[json::json_pointer(c.pointer)] = c.value;
        std::ofstream(edited) << layout;
        result = run("roi", {"--set", edited, "--svg", svg_file});
        EXPECT_EQ(result.status, c.status) << result.err;
        EXPECT_NE((result.out + result.err).find(c.message), std::string::npos) << result.out;
    }
    EXPECT_EQ(options()["_roi"]["roiParam"][1], moved);
    // Both frames (1/6 of the source, 1/3 of the output), each region in both.
    std::stringstream svg;
    svg << std::ifstream(svg_file).rdbuf();
    for (const char* rect : {R"("frame" x="20.0" y="44.0" width="640.0" height="320.0")",
                             R"("frame" x="680.0" y="44.0" width="640.0" height="360.0")",
                             R"("1" x="20.0" y="44.0" width="320.0" height="320.0")",
                             R"("1" x="680.0" y="44.0" width="320.0" height="360.0")",
                             R"("2" x="340.0" y="204.0" width="320.0" height="160.0")",
                             R"("2" x="1000.0" y="224.0" width="320.0" height="180.0")"})
        EXPECT_NE(svg.str().find(rect), std::string::npos) << rect << svg.str();
    result = run("roi", {"--set", saved});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(options()["_roi"], original);

    ASSERT_EQ(run("mode", {"0"}).status, 0);
    result = run("roi");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("in mode 0; ROI layouts exist in modes 2 and 3 (oscctl mode " +
                              camera() + " 2)"),
              std::string::npos)
        << result.err;
}

// Each one-camera command as the user reads it, and the camera state it
// changes (a JSON pointer into the simulator's snapshot), in order.
TEST_F(OscctlAgainstSim, EachCommandPrintsAndChangesTheCamera) {
    struct Case {
        std::vector<std::string> command;
        std::string printed;
        const char* state = nullptr;
        json expected = nullptr;
    };
    const std::string picture = scratch_file("shot.jpeg"), dir = ::testing::TempDir();
    const std::string named = "127.0.0.1_" + std::to_string(sim_->port()) + "_";
    const Case table[] = {
        {{"mode", "1"}, camera() + ": mode 1", "/options/_imrxMode", 1},
        {{"stream", "start"}, "stream start done", "/streaming", true},
        {{"preview", "1920x960"},
         "preview 1920x960 done",
         "/options/_fileFormatPreview/0/width",
         1920},
        {{"auth", "on"}, "auth on done", "/options/_authEnable", true},
        {{"flip", "on"}, "flip on done", "/options/_cameraPlacement", 1},
        {{"gyro", "on"}, "gyro on done", "/options/_gyro", true},
        {{"gyro", "read"}, "gyro"},
        {{"syslog", "127.0.0.1", "514", "on"},
         "syslog on done",
         "/options/_syslog/server",
         "127.0.0.1"},
        {{"network", "dhcp"}, "network dhcp done", "/options/_network/mode", "dhcp"},
        {{"network", "static", "127.0.0.20", "127.0.0.254", "255.255.255.0"},
         "network static done",
         "/options/_network/address",
         "127.0.0.20"},
        {{"mode", "0"}, "", "/options/_imrxMode", 0},
        {{"preview", "1280x640"}, "mode 0; the format is sent with the next stream start"},
        {{"set", "brightness", "61"}, "brightness = 61 done", "/options/_brightness", 61},
        {{"save"}, "save done", "/saved_options/_brightness", 61},
        {{"version"}, "AST1220  AST107_20240115\n"},
        {{"health"}, "camera   " + camera() + "\nprocess  ok\n"},
        {{"screenshot", "-o", picture}, camera() + "/tmp/capture"},
        {{"screenshot", "-o", dir}, "saved as " + dir + named},
        {{"remove"}, "remove done"},
    };
    for (const Case& c : table) {
        SCOPED_TRACE(c.command[0]);
        const auto result = run(c.command[0], {c.command.begin() + 1, c.command.end()});
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_NE(result.out.find(c.printed), std::string::npos) << result.out;
        if (c.state) {
            EXPECT_EQ(sim_->snapshot()[json::json_pointer(c.state)], c.expected);
        }
    }
    EXPECT_TRUE(std::ifstream(picture).good());
    EXPECT_EQ(run("screenshot", {"-o", "-"}).out.rfind("\xFF\xD8", 0), 0u);  // the JPEG itself
    const auto result = run("version", {}, {"--json"});
    EXPECT_EQ(json::parse(result.out).value("ast1220_ver", ""), "AST107_20240115") << result.err;
    EXPECT_EQ(json::parse(run("save", {}, {"--json"}).out),
              (json{{"camera", camera()}, {"command", "save"}, {"ok", true}}));
}

// Both modules: every file reaches the camera, the image's upload is
// confirmed as such and the scripts' as scripts, the progress runs to the end.
TEST_F(OscctlAgainstSim, FirmwareUpdateReportsProgressToTheEnd) {
    // The camera knows its files by name: a directory of this process's own.
    const std::string dir = scratch_file("firmware");
    std::filesystem::create_directories(dir);
    auto file = [&](const std::string& name, std::size_t size) {
        const std::string path = dir + "/" + name;
        std::ofstream(path) << std::string(size, 'F');
        return path;
    };
    const std::string image = file("update.img", 4096);
    const std::vector<std::string> module = {"--fw1230", file("ast_update_1230_7261.sh", 20),
                                             file("ast_update.sh", 20),
                                             file("ast1235_fw.bin", 2048)};
    std::vector<std::string> both = {"--both", "--fw1220", image};
    both.insert(both.end(), module.begin(), module.end());
    auto result = run("update", both, {"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    std::istringstream lines(result.out);
    std::vector<bool> uploads;
    int percent = -1;
    for (std::string line; std::getline(lines, line);) {
        const json event = json::parse(line);
        if (event["event"] == "fw_upload") uploads.push_back(event["image"]);
        if (event["event"] == "fw_progress") percent = event["value"];
    }
    EXPECT_EQ(uploads, (std::vector<bool>{true, false, false})) << result.out;
    EXPECT_EQ(percent, 100);
    EXPECT_EQ(sim_->snapshot()["uploads"]["update.img"], 4096);
    EXPECT_EQ(sim_->snapshot()["uploads"]["ast1235_fw.bin"], 2048);
    // The AST1230 module alone, on the camera's model.
    result = run("update", module);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("update --fw1230 finished"), std::string::npos) << result.out;
    std::ofstream(image, std::ios::trunc).close();
    result = run("update", {"--fw1220", image});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("update --fw1220: " + image + " is empty"), std::string::npos);
}

}  // namespace
