// oscctl against a simulated camera on loopback: exit status, output and the
// camera's state afterwards, per group of subcommands.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/settings_table.h"
#include "oscctl_runner.h"
#include "sim/camera_sim.h"
#include "sim/fleet.h"

namespace {

using nlohmann::json;

class OscctlAgainstSim : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        oscsim::SimConfig config;
        config.host = "127.0.0.1";
        config.port = 0;
        config.update_step = std::chrono::milliseconds(20);
        config.reboot_downtime = std::chrono::milliseconds(300);
        sim_ = std::make_unique<oscsim::CameraSim>(config);
        ASSERT_TRUE(sim_->start());
    }
    static void TearDownTestSuite() {
        sim_->stop();
        sim_.reset();
    }

    static std::string camera() { return "127.0.0.1:" + std::to_string(sim_->port()); }
    static json options() { return sim_->snapshot()["options"]; }
    // Runs oscctl on the simulated camera: {command, camera, rest...}.
    static OscctlRun run(const std::string& command, std::vector<std::string> rest = {},
                         std::vector<std::string> global = {}) {
        std::vector<std::string> args = global;
        args.push_back(command);
        args.push_back(camera());
        args.insert(args.end(), rest.begin(), rest.end());
        return run_oscctl(args);
    }

    static std::unique_ptr<oscsim::CameraSim> sim_;
};

std::unique_ptr<oscsim::CameraSim> OscctlAgainstSim::sim_;

// A file of this test process only: ctest runs tests in parallel.
std::string scratch_file(const std::string& name) {
    return ::testing::TempDir() + "/oscctl-" + std::to_string(::getpid()) + "-" + name;
}

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

TEST_F(OscctlAgainstSim, ScanFindsTheStaticListAndWatchPrintsJsonLines) {
    // Every entry the list parser skips says why (spaces around one are not part of it).
    const std::string list =
        "' " + camera() + " ,,x:y,:80,127.0.0.4:99999,127.0.0.5:,camera.test:80'";
    auto result = run_oscctl({"--json", "--verbose", "scan", "--seconds", "8"},
                             "OSC_DISCOVERY=static OSC_STATIC_CAMERAS=" + list);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(json::parse(result.out), json::array({camera()}));
    EXPECT_LT(result.seconds, 5.0);  // ends when the listed camera has answered
    for (const char* skipped :
         {"'x:y' (bad port in camera address x:y)", "':80' (empty camera address)",
          "'127.0.0.4:99999' (bad port in camera address 127.0.0.4:99999)",
          "'127.0.0.5:' (bad port in camera address 127.0.0.5:)",
          "'camera.test:80' (camera.test is not an IPv4 address)"})
        EXPECT_NE(result.err.find(std::string("skipping ") + skipped), std::string::npos)
            << skipped;
    // The client's entry for it, as the handler logs it: serial, model, address.
    EXPECT_NE(result.err.find("[handler] SIM0001,Q07261,127.0.0.1," + std::to_string(sim_->port())),
              std::string::npos);
    // A listed camera that does not answer is given its time, then left out.
    result = run_oscctl({"--json", "scan", "--seconds", "2"},
                        "OSC_DISCOVERY=static OSC_STATIC_CAMERAS=127.0.0.3:1," + camera());
    EXPECT_EQ(json::parse(result.out), json::array({camera()})) << result.err;

    oscsim::Faults faults;
    faults.unknown = "GetEthernetSettings";
    sim_->set_faults(faults);
    result = run_oscctl({"watch", camera(), "--duration", "2"}, "OSC_DISCOVERY=static");
    sim_->set_faults({});
    ASSERT_EQ(result.status, 0) << result.err;
    std::istringstream lines(result.out);
    std::string line;
    std::set<std::string> failed;  // the requests of every failure
    for (int events = 0; std::getline(lines, line); ++events) {
        const json event = json::parse(line);
        EXPECT_TRUE(event["event"] != "params" || event["json"].is_object()) << line;
        if (event.value("ok", true) == false) failed.insert(event.value("request", ""));
    }
    EXPECT_EQ(failed, std::set<std::string>{"GetEthernetSettings"}) << result.out;
    // An answer the handler cannot use, named by its request.
    faults = {};
    faults.wrong_type = true;
    sim_->set_faults(faults);
    result = run_oscctl({"watch", camera(), "--duration", "2"}, "OSC_DISCOVERY=static");
    sim_->set_faults({});
    bool unusable = false;
    for (std::istringstream more(result.out); std::getline(more, line);) {
        const json event = json::parse(line);
        unusable |= event["event"] == "unhandled" && !event.value("request", "").empty() &&
                    !event.value("message", "").empty();
    }
    EXPECT_TRUE(unusable) << result.out;
}

TEST_F(OscctlAgainstSim, RebootWithoutWaitReturnsAtOnce) {
    // A camera refuses to reboot during an update.
    sim_->update_state([](oscsim::CameraState& s) { s.updating = true; });
    auto result = run("reboot");
    sim_->update_state([](oscsim::CameraState& s) { s.updating = false; });
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("RebootCamera failed: firmware update running"), std::string::npos)
        << result.err;
    result = run("reboot");
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("reboot requested"), std::string::npos) << result.out;
    EXPECT_LT(result.seconds, 5.0);
    // The camera counts the reboot when it comes back.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (sim_->snapshot()["reboots"] == 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(sim_->snapshot()["reboots"], 1);
}

// Each fault of the camera as the user reads it: the cause, at once (or
// after the one-second limit), with the exit status the README documents. A
// request the user did not name is named when it fails; a change the camera
// confirmed succeeds even when reading it back fails.
TEST_F(OscctlAgainstSim, FaultsNameTheirCause) {
    struct Case {
        void (*fault)(oscsim::Faults&);
        std::vector<std::string> command;
        const char* message;
        int status;
    };
    const std::string image = scratch_file("broken.img");
    std::ofstream(image) << "image";
    using F = oscsim::Faults;
    const Case table[] = {
        {[](F& f) { f.never_answer = true; }, {"health"}, "timed out after 1000 ms", 2},
        {[](F& f) { f.refuse = true; }, {"settings"}, "connection refused", 2},
        {[](F& f) { f.server_error = true; }, {"health"}, "answers with HTTP 500", 2},
        {[](F& f) { f.drop = true; }, {"mode"}, "does not answer: connection closed", 2},
        {[](F& f) { f.wrong_type = true; }, {"health"}, "answer the handler cannot use", 1},
        {[](F& f) { f.wrong_type = true; }, {"mode"}, "answer the handler cannot use", 1},
        {[](F& f) { f.malformed = true; }, {"health"}, "Invalid answer", 1},
        {[](F& f) { f.fail_update = "hw"; }, {"update", "--fw1220", image}, "fw1220 failed", 1},
        {[](F& f) { f.unknown = "GetEthernetSettings"; },
         {"settings"},
         "GetEthernetSettings refused: unknown function GetEthernetSettings",
         1},
        {[](F& f) { f.unknown = "_imrxMode"; },
         {"mode", "1"},
         "GetOptionsAll refused: unknown option _imrxMode",
         0},
        {[](F& f) { f.unknown = "_imrxMode"; }, {"network", "dhcp"}, "network dhcp done", 0},
    };
    for (const Case& c : table) {
        SCOPED_TRACE(c.message);
        oscsim::Faults faults;
        c.fault(faults);
        sim_->set_faults(faults);
        std::vector<std::string> rest(c.command.begin() + 1, c.command.end());
        const auto result = run(c.command[0], rest, {"--timeout", "1"});
        sim_->set_faults({});
        EXPECT_EQ(result.status, c.status) << result.err;
        EXPECT_NE((result.out + result.err).find(c.message), std::string::npos) << result.err;
        EXPECT_LT(result.seconds, 4.0);
    }
}

// Several cameras at once: one line per camera and a summary; in JSON one
// object per camera; a failed camera makes the exit status non-zero.
TEST(OscctlFleet, AllCamerasOfTheStaticList) {
    oscsim::Fleet fleet(oscsim::SimConfig{}, 10);
    ASSERT_TRUE(fleet.start());
    std::string list;
    for (auto& camera : fleet.cameras())
        list += (list.empty() ? "" : ",") + camera->host() + ":" + std::to_string(fleet.port());
    auto result = run_oscctl({"set", "--all", "brightness", "21"},
                             "OSC_DISCOVERY=static OSC_STATIC_CAMERAS=" + list);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("10 camera(s): 10 done, 0 failed"), std::string::npos);
    for (auto& camera : fleet.cameras()) {
        EXPECT_EQ(camera->snapshot()["options"]["_brightness"], 21);
        EXPECT_NE(result.out.find(camera->host() + ":" + std::to_string(fleet.port()) +
                                  ": brightness = 21 done"),
                  std::string::npos);
    }
    oscsim::Faults refusing;
    refusing.refuse = true;
    fleet.cameras()[3]->set_faults(refusing);
    result = run_oscctl({"--json", "health", list});
    EXPECT_EQ(result.status, 2);
    std::istringstream lines(result.out);
    std::string line;
    for (auto& camera : fleet.cameras()) {
        ASSERT_TRUE(std::getline(lines, line));
        const json answer = json::parse(line);
        EXPECT_EQ(answer["camera"], camera->host() + ":" + std::to_string(fleet.port()));
        EXPECT_EQ(answer["ok"], camera->listening()) << line;
    }
    EXPECT_FALSE(std::getline(lines, line)) << line;
    fleet.stop();
}

// Usage errors exit 1 and name the word at fault.
TEST(OscctlWithoutCamera, UsageErrorsNameTheWord) {
    struct Case {
        std::vector<std::string> args;
        int status;
        const char* message;
    };
    const Case table[] = {
        {{"bogus"}, 1, "unknown command 'bogus'"},
        {{}, 1, "a command is needed"},
        {{"set", "127.0.0.1", "loudness", "3"}, 1, "loudness not in"},
        {{"flip", "127.0.0.1", "maybe"}, 1, "maybe not in"},
        {{"preview", "127.0.0.1", "huge"}, 1, "WIDTHxHEIGHT, not huge"},
        {{"--lib-dir", ::testing::TempDir(), "health", "127.0.0.1"}, 1, "no libVesk_OSC.dylib"},
        {{"--version"}, 0, "oscctl 0."},
        {{"--timeout", "1", "health", "127.0.0.3"}, 2, "camera 127.0.0.3:8080 does not answer"},
        {{"health", "127.0.0.1:0"}, 1, "bad port in camera address 127.0.0.1:0"},
        {{"health", ","}, 1, "no camera given"},
    };
    for (const Case& c : table) {
        const auto result = run_oscctl(c.args);
        EXPECT_EQ(result.status, c.status) << c.message;
        EXPECT_NE((result.out + result.err).find(c.message), std::string::npos) << result.err;
    }
}

}  // namespace
