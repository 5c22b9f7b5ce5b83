// One misbehaving camera beside two healthy ones, for each way a camera can
// fail: the failure reaches the host as a command result, the faulty camera's
// queue is dropped only when the camera cannot be reached, and the healthy
// cameras receive every command, in order (their request logs say so).
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <arpa/inet.h>

#include <cstdlib>
#include <ostream>
#include <thread>

#include "e2e_fixture.h"
#include "setter_sequence.h"

namespace e2e {
namespace {

constexpr const char* kRequestException = "Request exception";

// A gate short enough for late answers to pass it within a test.
WorkerTimings fault_timings() {
    WorkerTimings t = short_worker_timings();
    t.gate = 700ms;
    return t;
}

struct FaultCase {
    const char* name;
    oscsim::Faults faults;
    int request_timeout_ms;  // the client's limit for one request
    size_t delivered;        // setOptions requests that reach the faulty camera
    bool ok;                 // what the host hears of each of them
    const char* reason;      // the result text when they fail
    bool queue_dropped;      // the camera counts as unreachable
};

void PrintTo(const FaultCase& c, std::ostream* os) {
    *os << c.name;
}

oscsim::Faults with(void (*set)(oscsim::Faults&)) {
    oscsim::Faults f;
    set(f);
    return f;
}

std::vector<FaultCase> fault_cases() {
    const size_t all = setter_sequence().size();
    return {
        {"Refuses", with([](oscsim::Faults& f) { f.refuse = true; }), 2000, 0, false,
         kRequestException, true},
        {"Drops", with([](oscsim::Faults& f) { f.drop = true; }), 2000, 1, false, kRequestException,
         true},
        {"ServerError", with([](oscsim::Faults& f) { f.server_error = true; }), 2000, 1, false,
         kRequestException, true},
        // The client gives up before the gate opens: one request, then the drop.
        {"NeverAnswers", with([](oscsim::Faults& f) { f.never_answer = true; }), 300, 1, false,
         kRequestException, true},
        // Each answer comes after the gate has opened; the client still sends
        // one request at a time, so nothing is lost or reordered.
        {"AnswersAfterTheGate", with([](oscsim::Faults& f) { f.latency_ms = 1000; }), 4000, all,
         true, "", false},
        {"Malformed", with([](oscsim::Faults& f) { f.malformed = true; }), 2000, all, false,
         "Invalid answer", false},
        {"WronglyTyped", with([](oscsim::Faults& f) { f.wrong_type = true; }), 2000, all, true, "",
         false},
    };
}

class FaultyCamera : public EndToEndTest {
protected:
    void SetUp() override {
        load_in_setup_ = false;
        EndToEndTest::SetUp();
        testing_hooks::set_worker_timings(fault_timings());
    }
    void TearDown() override {
        EndToEndTest::TearDown();
        unsetenv("OSC_REQUEST_TIMEOUT_MS");
    }

    void load_with_request_timeout(int ms) {
        setenv("OSC_REQUEST_TIMEOUT_MS", std::to_string(ms).c_str(), 1);
        load_handler();
    }

    static bool skip_logged(const std::string& ip) {
        const std::string tail = ip + "skip all commands.";
        for (const auto& line : events().logs()) {
            if (line.size() >= tail.size() &&
                line.compare(line.size() - tail.size(), tail.size(), tail) == 0)
                return true;
        }
        return false;
    }

    static std::vector<CommandResult> results_for(const std::string& ip) {
        std::vector<CommandResult> out;
        for (const auto& r : events().results()) {
            if (r.ip == ip) out.push_back(r);
        }
        return out;
    }

    // Every healthy camera got the whole sequence, in order, each confirmed.
    void expect_untouched(const std::vector<oscsim::CameraSim*>& healthy) {
        for (oscsim::CameraSim* camera : healthy) {
            SCOPED_TRACE(camera->host());
            const std::string ip = camera->host();
            ASSERT_TRUE(
                wait_for([&] { return results_for(ip).size() >= setter_sequence().size(); }));
            const auto results = results_for(ip);
            ASSERT_EQ(results.size(), setter_sequence().size());
            for (size_t i = 0; i < results.size(); ++i) {
                EXPECT_EQ(results[i].command, setter_sequence()[i].command);
                EXPECT_TRUE(results[i].ok) << results[i].message;
            }
            EXPECT_EQ(options_set(*camera), sequence_options());
            EXPECT_FALSE(skip_logged(ip));
        }
    }
};

class FaultMatrix : public FaultyCamera, public ::testing::WithParamInterface<FaultCase> {};

TEST_P(FaultMatrix, FailureReachesTheHostAndOtherCamerasLoseNothing) {
    const FaultCase& c = GetParam();
    load_with_request_timeout(c.request_timeout_ms);
    auto& faulty = start_camera(71);
    auto& first = start_camera(72);
    auto& second = start_camera(73);
    faulty.set_faults(c.faults);
    const std::string ip = faulty.host();

    for (const auto& s : setter_sequence()) {
        s.set(ip.c_str(), faulty.port(), s.value);
        s.set(first.host().c_str(), first.port(), s.value);
        s.set(second.host().c_str(), second.port(), s.value);
    }
    expect_untouched({&first, &second});

    const size_t reported = c.queue_dropped ? 1 : setter_sequence().size();
    ASSERT_TRUE(wait_for([&] { return results_for(ip).size() >= reported; }));
    if (c.queue_dropped) {
        EXPECT_TRUE(wait_for([&] { return skip_logged(ip); })) << "the queue was not dropped";
        // Long enough for a command that escaped the drop to show up.
        std::this_thread::sleep_for(fault_timings().gate + 300ms);
    }
    const auto results = results_for(ip);
    ASSERT_EQ(results.size(), reported);
    for (size_t i = 0; i < results.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(results[i].command, setter_sequence()[i].command);
        EXPECT_EQ(results[i].ok, c.ok);
        if (!c.ok) {
            EXPECT_EQ(results[i].message, c.reason);
        }
    }
    EXPECT_EQ(skip_logged(ip), c.queue_dropped);

    faulty.set_faults({});
    const auto delivered = options_set(faulty);
    ASSERT_EQ(delivered.size(), c.delivered);
    const auto expected = sequence_options();
    EXPECT_TRUE(std::equal(delivered.begin(), delivered.end(), expected.begin()));
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, ::testing::ValuesIn(fault_cases()),
                         [](const auto& info) { return std::string(info.param.name); });

// A port nobody listens on at host, found by binding to port 0.
int free_port(const std::string& host) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    socklen_t length = sizeof address;
    int port = 0;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
        port = ntohs(address.sin_port);
    }
    close(fd);
    return port;
}

TEST_F(FaultyCamera, MovedPortIsReachedThroughTheNewPortOnly) {
    load_with_request_timeout(2000);
    auto& moving = start_camera(74);
    auto& other = start_camera(75);
    const std::string ip = moving.host();
    const int old_port = moving.port();
    const int new_port = free_port(ip);
    ASSERT_NE(new_port, 0);

    SetCameraPorts(ip.c_str(), old_port, new_port, 443, 554);
    const CommandResult moved = wait_result(ip, "SetCameraPorts");
    EXPECT_TRUE(moved.ok) << moved.message;
    ASSERT_TRUE(eventually([&] { return moving.port() == new_port && moving.listening(); }));

    // The host still names the old port: the camera is gone from there.
    SetBrightness(ip.c_str(), old_port, 40);
    const CommandResult lost = wait_result(ip, "SetBrightness");
    EXPECT_FALSE(lost.ok);
    EXPECT_EQ(lost.message, kRequestException);
    // The drop order waits for the next queued command, which goes with it.
    SetBrightness(ip.c_str(), new_port, 41);
    ASSERT_TRUE(wait_for([&] { return skip_logged(ip); }));

    for (const auto& s : setter_sequence()) {
        s.set(ip.c_str(), new_port, s.value);
        s.set(other.host().c_str(), other.port(), s.value);
    }
    expect_untouched({&other});
    ASSERT_TRUE(wait_for([&] { return results_for(ip).size() >= 2 + setter_sequence().size(); }));
    const auto results = results_for(ip);
    for (size_t i = 2; i < results.size(); ++i) {
        EXPECT_TRUE(results[i].ok) << results[i].command << ": " << results[i].message;
    }
    EXPECT_EQ(moving.snapshot().at("options").at("_brightness"), setter_sequence()[0].value);
    const auto params = parameters_of(ip);
    GetCameraParams(ip.c_str());
    ASSERT_TRUE(wait_for([&] { return parameters_of(ip).size() > params.size(); }));
    EXPECT_EQ(parameters_of(ip).back().at("http_port"), new_port);
}

TEST_F(FaultyCamera, RebootDuringAnUpdateFailsTheUpdateAndTheCameraComesBack) {
    load_with_request_timeout(2000);
    oscsim::SimConfig slow;
    slow.update_step = 250ms;  // time to cut the update off halfway
    auto& camera = start_camera(76, slow);
    auto& other = start_camera(77);
    const std::string ip = camera.host();
    refresh_settings(camera);  // the module's update script follows the model

    char dir_pattern[] = "/tmp/osc-e2e-fault-XXXXXX";
    const char* made = mkdtemp(dir_pattern);
    ASSERT_NE(made, nullptr);
    const std::string dir = made;
    const std::vector<std::string> files = {dir + "/ast_update_1230_7261.sh",
                                            dir + "/ast_update.sh", dir + "/ast1235_fw.bin"};
    for (const auto& path : files) {
        FILE* f = std::fopen(path.c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fputs("#!/bin/sh\n", f);
        std::fclose(f);
    }
    Update1230Firmware(ip.c_str(), camera.port(), files[0].c_str(), files[1].c_str(),
                       files[2].c_str());
    ASSERT_TRUE(wait_for([&] {
        for (const auto& p : events().progress()) {
            if (p.ip == ip) return true;
        }
        return false;
    })) << "the update never started";
    camera.power_cycle();
    for (const auto& s : setter_sequence()) s.set(other.host().c_str(), other.port(), s.value);

    const CommandResult update = wait_result(ip, "Update1230Firmware");
    EXPECT_FALSE(update.ok);
    EXPECT_EQ(update.message, kRequestException);
    for (const auto& p : events().progress()) {
        if (p.ip == ip) {
            EXPECT_EQ(p.text.find("[FW update end]"), std::string::npos) << "the update ended";
        }
    }
    expect_untouched({&other});

    ASSERT_TRUE(eventually([&] { return camera.snapshot().at("reboots") == 1; }));
    // The drop order waits for the next queued command, which goes with it.
    SetBrightness(ip.c_str(), camera.port(), 63);
    ASSERT_TRUE(wait_for([&] { return skip_logged(ip); }));
    SetBrightness(ip.c_str(), camera.port(), 64);
    EXPECT_TRUE(wait_for([&] { return !results_of(ip, "SetBrightness").empty(); }));
    const auto brightness = results_of(ip, "SetBrightness");
    ASSERT_EQ(brightness.size(), 1u);
    EXPECT_TRUE(brightness[0].ok) << brightness[0].message;
    EXPECT_EQ(camera.snapshot().at("options").at("_brightness"), 64);
    for (const auto& path : files) std::remove(path.c_str());
    rmdir(dir.c_str());
}

}  // namespace
}  // namespace e2e
