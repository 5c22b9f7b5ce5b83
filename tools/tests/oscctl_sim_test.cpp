// oscctl against a simulated camera on loopback: exit status, output and the
// camera's state afterwards, per group of subcommands.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "oscctl_runner.h"
#include "sim/camera_sim.h"

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

// A loopback port that nothing listens on: bind, read the port, close.
int unused_port() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(fd);
    return ntohs(address.sin_port);
}

// `actual` has every member of `expected` (or equals it, for non-objects).
bool contains(const json& actual, const json& expected) {
    if (!expected.is_object()) return actual == expected;
    for (const auto& [key, value] : expected.items())
        if (!actual.contains(key) || actual[key] != value) return false;
    return true;
}

TEST_F(OscctlAgainstSim, SettingsShowsATableOfRanges) {
    const auto result = run("settings");
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("setting"), std::string::npos);
    EXPECT_NE(result.out.find("brightness"), std::string::npos);
    EXPECT_NE(result.out.find("SIM0001"), std::string::npos);
}

TEST_F(OscctlAgainstSim, JsonModePrintsOnlyTheParameterDocument) {
    const auto result = run("settings", {"--force"}, {"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    const json document = json::parse(result.out);  // throws on anything extra
    EXPECT_EQ(document.value("serial", ""), "SIM0001");
    EXPECT_TRUE(document.contains("brightness_current"));
}

TEST_F(OscctlAgainstSim, LibraryMessagesNeverReachStdoutEvenWhenShown) {
    const auto result = run("health", {}, {"--json", "--verbose"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NO_THROW(json::parse(result.out)) << result.out;
    EXPECT_NE(result.err.find("loading success"), std::string::npos) << result.err;
}

struct SetCase {
    const char* setting;
    int value;
    const char* option;
};

void PrintTo(const SetCase& c, std::ostream* os) {
    *os << c.setting << " " << c.value;
}

std::string case_name(const ::testing::TestParamInfo<SetCase>& info) {
    return info.param.setting;
}

class SetCommand : public OscctlAgainstSim, public ::testing::WithParamInterface<SetCase> {};

TEST_P(SetCommand, ChangesTheCameraOption) {
    const SetCase& c = GetParam();
    const auto result = run("set", {c.setting, std::to_string(c.value)});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(options()[c.option], c.value);
}

INSTANTIATE_TEST_SUITE_P(Picture, SetCommand,
                         ::testing::Values(SetCase{"brightness", 42, "_brightness"},
                                           SetCase{"contrast", 33, "_contrast"},
                                           SetCase{"sharpness", 3, "_sharpness"},
                                           SetCase{"wdr", 1, "_wdr"}, SetCase{"hdr", 1, "hdr"},
                                           SetCase{"tiltshift", 2, "_tiltShift"},
                                           SetCase{"bitrate", 6000, "_bitrate"}),
                         case_name);

TEST_F(OscctlAgainstSim, SetReadsBackThroughGet) {
    ASSERT_EQ(run("set", {"saturation", "55"}).status, 0);
    const auto result = run("get", {}, {"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(json::parse(result.out).value("saturation_current", -1), 55);
}

TEST_F(OscctlAgainstSim, OutOfRangeValueFailsWithTheCamerasReason) {
    const auto result = run("set", {"brightness", "100000"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("outside its range 0..100"), std::string::npos) << result.err;
}

TEST_F(OscctlAgainstSim, ModeChangeAndRoiPicture) {
    auto result = run("mode", {"2"}, {"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(json::parse(result.out)["mode"], 2);
    EXPECT_EQ(options()["_imrxMode"], 2);

    const std::string layout_file = scratch_file("oscctl-roi.json");
    const std::string svg_file = scratch_file("oscctl-roi.svg");
    std::ofstream(layout_file) << R"({"srcWidth":3840,"srcHeight":1920,"dstWidth":1920,)"
                                  R"("dstHeight":1080,"roiNum":1,"roiParam":[{"srcX":0,"srcY":0,)"
                                  R"("srcW":1920,"srcH":960,"dstX":0,"dstY":0,"dstW":1920,)"
                                  R"("dstH":1080,"projection":0}]})";
    result = run("roi", {"--set", layout_file, "--svg", svg_file});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(options()["_roi"]["roiParam"].size(), 1u);
    std::stringstream svg;
    svg << std::ifstream(svg_file).rdbuf();
    EXPECT_NE(svg.str().find("data-roi=\"1\""), std::string::npos);
    EXPECT_NE(result.out.find(svg_file), std::string::npos);

    result = run("mode", {"0"});
    EXPECT_EQ(result.status, 0) << result.err;
    result = run("roi");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("mode 0"), std::string::npos) << result.err;
}

TEST_F(OscctlAgainstSim, StreamFlipAndPreview) {
    ASSERT_EQ(run("mode", {"1"}).status, 0);
    auto result = run("stream", {"start"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(sim_->snapshot()["streaming"].get<bool>());
    result = run("flip", {"on"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(options()["_cameraPlacement"], 1);
    result = run("preview", {"1920x960"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(options()["_fileFormatPreview"][0]["width"], 1920);
    EXPECT_EQ(run("preview", {"huge"}).status, 1);
}

TEST_F(OscctlAgainstSim, NetworkAndSystemSettings) {
    struct Case {
        const char* command;
        std::vector<std::string> rest;
        const char* option;
        json expected;
    };
    const Case table[] = {
        {"auth", {"on"}, "_authEnable", true},
        {"gyro", {"on"}, "_gyro", true},
        {"syslog",
         {"127.0.0.1", "514", "on"},
         "_syslog",
         {{"enable", true}, {"server", "127.0.0.1"}, {"port", 514}}},
        {"network", {"dhcp"}, "_network", {{"mode", "dhcp"}}},
    };
    for (const Case& c : table) {
        SCOPED_TRACE(c.command);
        const auto result = run(c.command, c.rest);
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(contains(options()[c.option], c.expected)) << options()[c.option];
    }
    const auto gyro = run("gyro", {"read"});
    EXPECT_EQ(gyro.status, 0) << gyro.err;
    EXPECT_NE(gyro.out.find("gyro"), std::string::npos);
}

TEST_F(OscctlAgainstSim, SaveHealthVersionScreenshot) {
    ASSERT_EQ(run("set", {"brightness", "61"}).status, 0);
    auto result = run("save");
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(sim_->snapshot()["saved_options"]["_brightness"], 61);

    result = run("health", {}, {"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(json::parse(result.out).value("process_ok", false));

    result = run("version", {}, {"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(json::parse(result.out).value("ast1220_ver", ""), "AST107_20240115");

    const std::string picture = scratch_file("oscctl-shot.jpeg");
    result = run("screenshot", {"-o", picture});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("/tmp/capture"), std::string::npos);
    EXPECT_TRUE(std::ifstream(picture).good());
}

TEST_F(OscctlAgainstSim, FirmwareUpdateReportsProgressToTheEnd) {
    const std::string image = scratch_file("update.img");
    std::ofstream(image) << std::string(4096, 'F');
    const auto result = run("update", {"--fw1220", image});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("100%"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("finished"), std::string::npos);
    EXPECT_EQ(sim_->snapshot()["uploads"]["update.img"], 4096);
}

TEST_F(OscctlAgainstSim, FailedFirmwareUpdateExitsNonZeroWithTheReason) {
    oscsim::Faults faults;
    faults.fail_update = "hw";
    sim_->set_faults(faults);
    const std::string image = scratch_file("update.img");
    std::ofstream(image) << "image";
    const auto result = run("update", {"--fw1220", image});
    sim_->set_faults({});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("UpdateFirmwareAll failed"), std::string::npos) << result.err;
}

TEST_F(OscctlAgainstSim, SilentCameraTimesOutWithAClearMessage) {
    oscsim::Faults faults;
    faults.never_answer = true;
    sim_->set_faults(faults);
    const auto result = run("health", {}, {"--timeout", "1"});
    sim_->set_faults({});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("timed out after 1000 ms"), std::string::npos) << result.err;
    EXPECT_LT(result.seconds, 4.0);
    EXPECT_TRUE(result.out.empty());
}

TEST_F(OscctlAgainstSim, ScanFindsTheStaticList) {
    const auto result = run_oscctl({"--json", "scan", "--seconds", "8"},
                                   "OSC_DISCOVERY=static OSC_STATIC_CAMERAS=" + camera());
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(json::parse(result.out), json::array({camera()}));
    EXPECT_LT(result.seconds, 5.0);  // ends when the listed camera has answered
}

TEST_F(OscctlAgainstSim, WatchPrintsCallbacksAsJsonLines) {
    const auto result = run_oscctl({"watch", camera(), "--duration", "2"}, "OSC_DISCOVERY=static");
    ASSERT_EQ(result.status, 0) << result.err;
    std::istringstream lines(result.out);
    std::string line;
    int events = 0;
    while (std::getline(lines, line)) {
        EXPECT_TRUE(json::parse(line).contains("event")) << line;
        ++events;
    }
    EXPECT_GE(events, 1);
}

TEST_F(OscctlAgainstSim, RebootWithoutWaitReturnsAtOnce) {
    const auto result = run("reboot");
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_LT(result.seconds, 5.0);
    // The camera counts the reboot when it comes back.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (sim_->snapshot()["reboots"] == 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(sim_->snapshot()["reboots"], 1);
}

TEST(OscctlWithoutCamera, ReportsANonAnsweringCameraWithinTheTimeout) {
    const std::string camera = "127.0.0.1:" + std::to_string(unused_port());
    const auto result = run_oscctl({"--timeout", "3", "settings", camera});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("does not answer"), std::string::npos) << result.err;
    EXPECT_LT(result.seconds, 6.0);
    EXPECT_TRUE(result.out.empty());
}

TEST(OscctlWithoutCamera, MissingClientLibraryIsNamed) {
    const auto result = run_oscctl({"--lib-dir", ::testing::TempDir(), "health", "127.0.0.1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("no libVesk_OSC.dylib"), std::string::npos) << result.err;
}

TEST(OscctlWithoutCamera, BadArgumentsAreRejected) {
    EXPECT_NE(run_oscctl({"set", "127.0.0.1", "loudness", "3"}).status, 0);
    EXPECT_NE(run_oscctl({"flip", "127.0.0.1", "maybe"}).status, 0);
    EXPECT_NE(run_oscctl({}).status, 0);
}

}  // namespace
