// One row per camera operation: what it queues, what it stores and what the
// camera is sent once the worker runs. Each area's test file supplies its rows;
// the checks that every operation shares run over all of them.
#pragma once

#include <chrono>
#include <functional>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/handler_fixture.h"

namespace commands_test {

using nlohmann::json;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

inline constexpr const char* kIp = "10.0.0.5";
// Not the 8080 that a camera entry starts with, so a stored port shows.
inline constexpr int kPort = 8081;

// Bound for a whole exchange of several commands: an answer that overtakes
// the worker's own bookkeeping costs the camera one full gate.
inline constexpr std::chrono::milliseconds kExchangeTimeout{20000};

// Polls rather than waiting for a notification, so an event that lands just
// before the wait starts is not missed.
template <class Predicate>
bool eventually(Predicate pred, std::chrono::milliseconds timeout = kExchangeTimeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!pred()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

using OperationCall = std::function<void(const char* ip, int port)>;
using RecordEdit = std::function<void(CAM_PARAM&)>;
using RecordCheck = std::function<void(const CAM_PARAM&)>;

struct OperationCase {
    std::string name;  // also the test name
    OperationCall call;
    RecordEdit prepare;               // the camera before the call; may be empty
    std::vector<std::string> queued;  // command names, each paired with the call's port
    json reported = json::object();   // parameter-document members that change, new values
    RecordCheck stored;               // record fields the document does not show; may be empty
    std::vector<std::string> sent;    // client calls, in order, once the worker is released

    OperationCase& given(RecordEdit edit) {
        prepare = std::move(edit);
        return *this;
    }
    OperationCase& queues(std::vector<std::string> names) {
        queued = std::move(names);
        return *this;
    }
    OperationCase& reports(json members) {
        reported = std::move(members);
        return *this;
    }
    OperationCase& stores(RecordCheck check) {
        stored = std::move(check);
        return *this;
    }
    OperationCase& sends(std::vector<std::string> calls) {
        sent = std::move(calls);
        return *this;
    }
};

inline OperationCase operation(std::string name, OperationCall call) {
    OperationCase c;
    c.name = std::move(name);
    c.call = std::move(call);
    return c;
}

inline void PrintTo(const OperationCase& c, std::ostream* os) {
    *os << c.name;
}

inline std::string case_name(const testing::TestParamInfo<OperationCase>& info) {
    return info.param.name;
}

// Rows of each area.
std::vector<OperationCase> value_setter_cases();
std::vector<OperationCase> streaming_roi_cases();
std::vector<OperationCase> firmware_cases();
std::vector<OperationCase> network_system_cases();
std::vector<OperationCase> settings_query_cases();

inline std::vector<std::pair<std::string, int>> paired(const std::vector<std::string>& names,
                                                       int port) {
    std::vector<std::pair<std::string, int>> out;
    for (const auto& name : names) out.emplace_back(name, port);
    return out;
}

// The full refresh, in the order the camera must be asked.
inline const std::vector<std::string>& refresh_names() {
    static const std::vector<std::string> names = {
        "GetNetSetting",   "GetSyslogEnable", "GetAuthEnable", "GetROI",        "GetInfo",
        "GetServicePorts", "GetCameraName",   "GetOptionsAll", "StartStreaming"};
    return names;
}

// "Name(10.0.0.5, 8081)" for each name: the refresh as the client sees it.
inline std::vector<std::string> plain_calls(const std::vector<std::string>& names,
                                            int port = kPort) {
    std::vector<std::string> calls;
    for (const auto& name : names) {
        calls.push_back(name + "(" + kIp + ", " + std::to_string(port) + ")");
    }
    return calls;
}

// The parameter document the host would get for ip right now.
inline json reported_parameters(const std::string& ip) {
    const size_t before = HostEvents::instance().parameters().size();
    Access::notify_parameters(ip);
    const auto documents = HostEvents::instance().parameters();
    EXPECT_EQ(documents.size(), before + 1);
    if (documents.size() <= before) return json();
    return json::parse(documents.back().second);
}

// Keeps the worker's pause and module lines out of the test output.
class QuietStdout {
public:
    QuietStdout() { CaptureStdout(); }
    ~QuietStdout() { GetCapturedStdout(); }
    QuietStdout(const QuietStdout&) = delete;
    QuietStdout& operator=(const QuietStdout&) = delete;
};

// A known camera, prepared as the row says, whose worker holds everything
// until released.
class OperationSubmission : public HandlerTest, public testing::WithParamInterface<OperationCase> {
protected:
    void held_camera_as_prepared() {
        add_held_camera(kIp);
        if (GetParam().prepare) Access::edit(kIp, GetParam().prepare);
    }
};

// A handler whose client library could not be loaded.
class NoClientLibrary : public testing::Test {
protected:
    void SetUp() override {
        HostEvents::instance().clear();
        CaptureStdout();  // the loader reports the failure on standard output
        Init("/nonexistent/client/dir");
        GetCapturedStdout();
        ASSERT_NE(m_inst, nullptr);
        HostEvents::install();
    }
    void TearDown() override { Destroy(); }
    static HostEvents& events() { return HostEvents::instance(); }
};

class OperationWithoutClientLibrary : public NoClientLibrary,
                                      public testing::WithParamInterface<OperationCase> {};

}  // namespace commands_test
