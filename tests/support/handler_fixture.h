// A live handler over the client-library double, with fast worker timings and
// every host callback recorded.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include "IVeskOSCHandlerInst.h"
#include "support/client_double.h"
#include "support/handler_access.h"
#include "support/host_events.h"
#include "workers/timings.h"

using namespace std::chrono_literals;
using Access = HandlerTestAccess;

inline WorkerTimings fast_worker_timings() {
    WorkerTimings t;
    t.pass = 10ms;
    t.gate = 800ms;
    t.reboot_pause = 150ms;
    t.ports_pause = 40ms;
    t.syslog_pause = 40ms;
    t.start_poll = 1ms;
    return t;
}

class HandlerTest : public ::testing::Test {
protected:
    void SetUp() override {
        testing_hooks::set_worker_timings(fast_worker_timings());
        events().clear();
        double_.emplace();
        Init(ClientDouble::directory().c_str());
        ASSERT_NE(m_inst, nullptr);
        HostEvents::install();
        client().clear();
    }

    void TearDown() override {
        Destroy();
        double_.reset();
        testing_hooks::reset_worker_timings();
    }

    ClientDouble& client() { return *double_; }
    static HostEvents& events() { return HostEvents::instance(); }

    // A camera whose worker runs but sends nothing until released.
    static void add_held_camera(const std::string& ip) {
        Access::ensure(ip);
        Access::hold(ip);
    }

    // Every client call is answered at once with an empty document, so queued
    // commands flow without waiting for the gate.
    void answer_everything() {
        client().on_call([](const std::string&, const std::string& ip, ClientDouble& d) {
            if (!ip.empty()) d.respond("{}", ip);
        });
    }

    // The client calls for ip, without the ip argument noise of other cameras.
    std::vector<std::string> calls_for(const std::string& ip) {
        std::vector<std::string> out;
        for (auto& line : client().calls()) {
            if (line.find("(" + ip + ",") != std::string::npos) out.push_back(line);
        }
        return out;
    }

private:
    std::optional<ClientDouble> double_;
};
