// A live handler over the client-library double, with short worker timings
// and every host callback recorded.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "IVeskOSCHandlerInst.h"
#include "support/client_double.h"
#include "support/handler_access.h"
#include "support/host_events.h"
#include "workers/timings.h"

using namespace std::chrono_literals;
using nlohmann::json;
using Access = HandlerTestAccess;

inline constexpr const char* kIp = "10.0.0.5";
// Not the 8080 a camera entry starts with, so that a stored port shows.
inline constexpr int kPort = 8081;
// The marker's client call: everything queued before it has been sent.
inline constexpr const char* kMarkerCall = "AstParamRwSave(10.0.0.5, 8081)";

// Pass, gate, reboot, ports and syslog pauses, start poll: short, but a reboot
// pause stays far from a pass so that it shows.
inline WorkerTimings short_worker_timings() {
    return {10ms, 800ms, 300ms, 40ms, 40ms, 1ms};
}

// Camera answers as the client library hands them over.
inline std::string options_answer(const json& members) {
    return json{{"name", "camera.getOptions"}, {"results", {{"options", members}}}}.dump();
}
inline std::string cmdline_answer(const char* func, const json& results) {
    return json{{"name", "camera._cmdLine"}, {"func", func}, {"results", results}}.dump();
}

// Top-level members of after that differ from before.
inline json changed_members(const json& before, const json& after) {
    json changed = json::object();
    for (const auto& [key, value] : after.items()) {
        if (!before.contains(key) || before[key] != value) changed[key] = value;
    }
    return changed;
}

// The parameter document the host gets for ip right now.
inline json document(const std::string& ip = kIp) {
    GetCameraParams(ip.c_str());
    return json::parse(HostEvents::instance().parameters().back().second);
}

class HandlerTest : public ::testing::Test {
protected:
    void SetUp() override {
        events().clear();
        double_.emplace();
        restart(short_worker_timings());
    }
    void TearDown() override {
        Destroy();
        double_.reset();
        testing_hooks::reset_worker_timings();
    }

    // A new handler with these timings, over the same double.
    void restart(const WorkerTimings& timings) {
        Destroy();  // does nothing before the first Init
        testing_hooks::set_worker_timings(timings);
        Init(ClientDouble::directory().c_str());
        HostEvents::install();
        client().clear();
    }

    DoubleState& client() { return **double_; }
    static HostEvents& events() { return HostEvents::instance(); }

    // Every client call is answered at once with an empty document.
    void answer_everything() {
        client().on_call([this](const std::string&, const std::string& ip) {
            if (!ip.empty()) client().respond("{}", ip);
        });
    }
    // Queues the marker and waits until the camera has sent it: every command
    // queued before has gone out by then.
    void wait_for_marker() {
        SaveParam(kIp, kPort);
        ASSERT_TRUE(client().wait_for_call(kMarkerCall));
        ASSERT_TRUE(client().wait_idle());
    }
    // The client calls for kIp up to the marker, without the IP they all share:
    // "SetBrightness(37, 8081)".
    std::vector<std::string> camera_calls() {
        std::vector<std::string> out;
        const std::string ip_argument = std::string("(") + kIp + ", ";
        for (std::string line : client().calls()) {
            if (line == kMarkerCall) break;
            const size_t at = line.find(ip_argument);
            if (at != std::string::npos) out.push_back(line.erase(at + 1, ip_argument.size() - 1));
        }
        return out;
    }

private:
    std::optional<ClientDouble> double_;
};
