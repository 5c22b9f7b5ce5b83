// One misbehaving camera beside two healthy ones, for each way a camera can
// fail: the failure reaches the host as a command result, the faulty camera's
// queue is dropped only when the camera cannot be reached, and the healthy
// cameras receive every command, in order, over one connection (their request
// logs say so).

#include <cstdlib>
#include <thread>

#include "e2e_fixture.h"

namespace e2e {
namespace {

// A fixed run of setters, each landing in one camera option.
struct QueuedSetter {
    const char* command;
    void (*set)(const char*, int, int);
    int value;
    const char* option;
};
const std::vector<QueuedSetter> kSequence = {
    {"SetBrightness", SetBrightness, 21, "_brightness"},
    {"SetContrast", SetContrast, 22, "_contrast"},
    {"SetSaturation", SetSaturation, 23, "_saturation"},
    {"SetSharpness", SetSharpness, 24, "_sharpness"},
    {"SetWDRValue", SetWDRValue, 25, "_wdr"},
    {"SetHDRValue", SetHDRValue, 26, "hdr"},
};

std::vector<std::string> sequence_options() {
    std::vector<std::string> out;
    for (const auto& s : kSequence) out.push_back(s.option);
    return out;
}

// The option each setOptions request of the camera carried, in arrival order.
std::vector<std::string> options_set(const oscsim::CameraSim& camera) {
    std::vector<std::string> out;
    for (const auto& r : camera.requests()) {
        if (r.command != "camera.setOptions") continue;
        const auto body = nlohmann::json::parse(r.body);
        for (const auto& [name, value] : body.at("parameters").at("options").items())
            out.push_back(name);
    }
    return out;
}

constexpr const char* kRequestException = "Request exception";

// A gate short enough for late answers to pass it within a test.
WorkerTimings fault_timings() {
    WorkerTimings t = short_worker_timings();
    t.gate = 700ms;
    return t;
}

struct FaultCase {
    const char* name;
    void (*make_faulty)(oscsim::SimConfig&, oscsim::Faults&);
    int request_timeout_ms;  // the client's limit for one request
    size_t delivered;        // setOptions requests that reach the faulty camera
    bool ok;                 // what the host hears of each of them
    const char* reason;      // the result text when they fail
    bool queue_dropped;      // the camera counts as unreachable
    const char* cause;       // in the handler's "OscApi Error: " log line
};

// The host's client library always offers these; only some cameras ask.
constexpr const char* kUser = "admin";
constexpr const char* kPassword = "secret";

std::vector<FaultCase> fault_cases() {
    using Config = oscsim::SimConfig;
    using Faults = oscsim::Faults;
    const size_t all = kSequence.size();
    return {
        {"Refuses", [](Config&, Faults& f) { f.refuse = true; }, 2000, 0, false, kRequestException,
         true, "connection refused"},
        {"Drops", [](Config&, Faults& f) { f.drop = true; }, 2000, 1, false, kRequestException,
         true, "connection closed"},
        {"ServerError", [](Config&, Faults& f) { f.server_error = true; }, 2000, 1, false,
         kRequestException, true, "HTTP 500"},
        // The client gives up before the gate opens: one request, then the drop.
        {"NeverAnswers", [](Config&, Faults& f) { f.never_answer = true; }, 300, 1, false,
         kRequestException, true, "timed out after 300 ms"},
        {"StallsMidAnswer", [](Config&, Faults& f) { f.stall = true; }, 300, 1, false,
         kRequestException, true, "timed out after 300 ms"},
        // Each answer comes after the gate has opened; the client still sends
        // one request at a time, so nothing is lost or reordered.
        {"AnswersAfterTheGate", [](Config&, Faults& f) { f.latency_ms = 1000; }, 4000, all, true,
         "", false, nullptr},
        {"Malformed", [](Config&, Faults& f) { f.malformed = true; }, 2000, all, false,
         "Invalid answer", false, nullptr},
        {"WronglyTyped", [](Config&, Faults& f) { f.wrong_type = true; }, 2000, all, true, "",
         false, nullptr},
        {"ClosesIdleConnections", [](Config& c, Faults&) { c.keep_alive = 0s; }, 2000, all, true,
         "", false, nullptr},
        {"AsksForThePassword", [](Config& c, Faults&) { c.user = kUser, c.password = kPassword; },
         2000, all, true, "", false, nullptr},
        // Refused credentials fail each request alone: the camera stays in use.
        {"RefusesThePassword", [](Config& c, Faults&) { c.user = kUser, c.password = "other"; },
         2000, 0, false, "Authentication failed", false, "HTTP 401"},
    };
}

class FaultMatrix : public EndToEndTest, public ::testing::WithParamInterface<FaultCase> {
protected:
    void SetUp() override {
        load_in_setup_ = false;
        EndToEndTest::SetUp();
        testing_hooks::set_worker_timings(fault_timings());
    }
    void TearDown() override {
        EndToEndTest::TearDown();
        for (const char* v : {"OSC_REQUEST_TIMEOUT_MS", "OSC_CAMERA_USER", "OSC_CAMERA_PASSWORD"})
            unsetenv(v);
    }

    void load_with_request_timeout(int ms) {
        setenv("OSC_REQUEST_TIMEOUT_MS", std::to_string(ms).c_str(), 1);
        setenv("OSC_CAMERA_USER", kUser, 1);
        setenv("OSC_CAMERA_PASSWORD", kPassword, 1);
        load_handler();
    }

    // Whether a log line starts with `head` and holds `part`.
    static bool logged(const std::string& head, const std::string& part) {
        for (const auto& line : events().logs())
            if (line.rfind(head, 0) == 0 && line.find(part) != std::string::npos) return true;
        return false;
    }
    static bool skip_logged(const std::string& ip) {
        return logged("Thread ", " " + ip + "skip all commands.");
    }

    // Every healthy camera got the whole sequence, in order, each confirmed.
    void expect_untouched(const std::vector<oscsim::CameraSim*>& healthy) {
        for (oscsim::CameraSim* camera : healthy) {
            SCOPED_TRACE(camera->host());
            const std::string ip = camera->host();
            ASSERT_TRUE(wait_for([&] { return results_of(ip).size() >= kSequence.size(); }));
            const auto results = results_of(ip);
            ASSERT_EQ(results.size(), kSequence.size());
            for (size_t i = 0; i < results.size(); ++i) {
                EXPECT_EQ(results[i].command, kSequence[i].command);
                EXPECT_TRUE(results[i].ok) << results[i].message;
            }
            EXPECT_EQ(options_set(*camera), sequence_options());
            EXPECT_FALSE(skip_logged(ip));
            // Over one kept-alive connection.
            for (const auto& request : camera->requests())
                EXPECT_EQ(request.client_port, camera->requests()[0].client_port);
        }
    }
};

TEST_P(FaultMatrix, FailureReachesTheHostAndOtherCamerasLoseNothing) {
    const FaultCase& c = GetParam();
    load_with_request_timeout(c.request_timeout_ms);
    oscsim::SimConfig config;
    oscsim::Faults faults;
    c.make_faulty(config, faults);
    auto& faulty = start_camera(71, config);
    auto& first = start_camera(72);
    auto& second = start_camera(73);
    faulty.set_faults(faults);
    const std::string ip = faulty.host();

    for (const auto& s : kSequence) {
        s.set(ip.c_str(), faulty.port(), s.value);
        s.set(first.host().c_str(), first.port(), s.value);
        s.set(second.host().c_str(), second.port(), s.value);
    }
    expect_untouched({&first, &second});

    const size_t reported = c.queue_dropped ? 1 : kSequence.size();
    ASSERT_TRUE(wait_for([&] { return results_of(ip).size() >= reported; }));
    if (c.queue_dropped) {
        EXPECT_TRUE(wait_for([&] { return skip_logged(ip); })) << "the queue was not dropped";
    }
    // A marker once the faults are gone: a dropped command that came back
    // would arrive before it.
    faulty.set_faults({});
    SetTiltShift(ip.c_str(), faulty.port(), 5);
    ASSERT_TRUE(wait_for([&] { return !results_of(ip, "SetTiltShift").empty(); }));
    const bool marker_delivered = results_of(ip, "SetTiltShift")[0].ok;
    auto results = results_of(ip);
    ASSERT_EQ(results.size(), reported + 1);
    results.pop_back();
    for (size_t i = 0; i < results.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(results[i].command, kSequence[i].command);
        EXPECT_EQ(results[i].ok, c.ok);
        if (!c.ok) {
            EXPECT_EQ(results[i].message, c.reason);
        }
    }
    EXPECT_EQ(skip_logged(ip), c.queue_dropped);
    if (c.cause) {
        EXPECT_TRUE(logged("OscApi Error: ", c.cause)) << "no failure names " << c.cause;
    }
    auto delivered = options_set(faulty);
    ASSERT_EQ(delivered.size(), c.delivered + (marker_delivered ? 1 : 0));
    if (marker_delivered) delivered.pop_back();
    const auto expected = sequence_options();
    EXPECT_TRUE(std::equal(delivered.begin(), delivered.end(), expected.begin()));
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, ::testing::ValuesIn(fault_cases()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace e2e
