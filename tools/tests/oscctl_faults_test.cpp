// oscctl when things go wrong or span cameras: discovery and watch, a reboot,
// each fault of the camera, a fleet, usage errors.
#include <set>
#include <thread>

#include "oscctl_sim_fixture.h"
#include "sim/fleet.h"

namespace {

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
