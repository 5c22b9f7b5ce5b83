// A host may call any operation but Destroy from inside any callback, on
// whatever thread the callback runs, and Destroy or RemoveCachedDevice return
// promptly whatever a camera's worker is doing.
#include <functional>

#include "support/handler_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kOtherIp = "10.0.0.6";

struct Trigger {
    const char* name;
    const char* line;  // the recorded event the host reacts to
    std::function<void(DoubleState&)> cause;
};

// The camera answers with this text.
std::function<void(DoubleState&)> answered(std::string text) {
    return [text](DoubleState& client) { client.respond(text, kIp); };
}

const Trigger kTriggers[] = {
    {"DeviceList", "devices ", [](DoubleState& c) { c.discover({"cam,10.0.0.7,8082"}); }},
    {"Parameters", "params 10.0.0.5",
     answered(options_answer({{"_imrxVersion", {{"AST1220", "AST_07_b"}, {"AST1235", "Q1"}}}}))},
    {"Result", "result 10.0.0.5", answered(R"({"name":"camera._getLivePreview","state":"done"})")},
    {"Health", "health 10.0.0.5",
     answered(R"({"name":"state","state":{"imrxMode":1,"mode":["inPreview"],)"
              R"("ProcessList":{"state":"OK"},"CpuUsage":{"CPU used":1},)"
              R"("MemoryUsage":{"Total":4,"used":1}}})")},
    {"FirmwareResult", "upload 10.0.0.5",
     answered(R"({"name": "camera.uploadfile","func": "UploadFile","results": )"
              R"({"options": {"uploadfile": update.img}},"state": "done"})")},
    {"FirmwareProgress", "progress 10.0.0.5", answered("[Fw Update Msg] writing flash")},
    {"RebootState", "reboot 10.0.0.5", answered(R"({"name":"reboot","state":"done"})")},
    // On the camera's worker thread, between its log line and its client call.
    {"LogOfTheWorker", "log Thread 0 10.0.0.5send command AstParamRwSave",
     [](DoubleState&) { SaveParam(kIp, kPort); }},
};

struct Reentry {
    Trigger trigger;
    const char* target;
};

class OperationFromCallback : public HandlerTest, public testing::WithParamInterface<Reentry> {};

TEST_P(OperationFromCallback, IsSentAndAnswered) {
    const Reentry& row = GetParam();
    client().on_call([this](const std::string& call, const std::string& ip) {
        const bool setter = call.rfind("SetBrightness(", 0) == 0;
        if (!ip.empty())
            client().respond(
                setter ? R"({"name":"camera.setOptions","func":"SetBrightness"})" : "{}", ip);
    });
    Access::ensure(kIp);
    const std::string target = row.target;
    events().react_once(row.trigger.line, [target] { SetBrightness(target.c_str(), kPort, 42); });
    row.trigger.cause(client());
    EXPECT_TRUE(events().wait_for_line("result " + target + " SetBrightness ok "))
        << testing::PrintToString(events().lines());
}

std::vector<Reentry> reentries() {
    std::vector<Reentry> rows;
    for (const Trigger& trigger : kTriggers)
        for (const char* target : {kIp, kOtherIp}) rows.push_back({trigger, target});
    return rows;
}

INSTANTIATE_TEST_SUITE_P(EveryCallback, OperationFromCallback, testing::ValuesIn(reentries()),
                         [](const auto& info) {
                             return std::string(info.param.trigger.name) +
                                    (info.param.target == kIp ? "SameCamera" : "OtherCamera");
                         });

// States a worker can be in when the host quits or forgets the camera.
struct Busy {
    const char* name;
    std::function<void()> start;
    const char* call;  // the client call that shows the state has begun
};

const Busy kBusy[] = {
    {"RebootPause", [] { RebootCamera(kIp, kPort); }, "Reboot("},
    {"PortsPause", [] { SetCameraPorts(kIp, kPort, kPort, 443, 554); }, "SetCameraPorts("},
    {"SyslogPause", [] { SetSyslogEnable(kIp, kPort, "10.0.0.1", 514, 1); }, "SetSyslogEnable("},
    {"UploadInFlight", [] { Update1220Firmware(kIp, kPort, "update.img"); }, "Update1220("},
    // A full fleet, each camera waiting for its answer; this camera last.
    {"NinetyNineInFlight",
     [] {
         for (int i = 1; i < 99; ++i) SaveParam(("10.1.0." + std::to_string(i)).c_str(), kPort);
         SaveParam(kIp, kPort);
     },
     "AstParamRwSave(10.0.0.5"},
};

class BusyWorker : public HandlerTest, public testing::WithParamInterface<Busy> {
protected:
    // Pauses and the answer gate long enough that waiting one out would show.
    void SetUp() override {
        HandlerTest::SetUp();
        WorkerTimings timings = short_worker_timings();
        timings.gate = timings.reboot_pause = timings.ports_pause = timings.syslog_pause = 60s;
        restart(timings);
        GetParam().start();
        ASSERT_TRUE(client().wait_for_call(GetParam().call));
        SetBrightness(kIp, kPort, 1);  // held behind the state
    }
    static std::chrono::milliseconds timed(const std::function<void()>& call) {
        const auto started = Clock::now();
        call();
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started);
    }
};

constexpr auto kPrompt = 2s;  // generous: sanitizer builds run slowly

TEST_P(BusyWorker, DestroyReturnsPromptly) {
    EXPECT_LT(timed([] { Destroy(); }), kPrompt);
}

TEST_P(BusyWorker, RemovalReturnsPromptlyAndDropsTheHeldCommand) {
    bool removed = false;
    EXPECT_LT(timed([&] { removed = RemoveCachedDevice(kIp); }), kPrompt);
    EXPECT_TRUE(removed);
    EXPECT_FALSE(client().wait_for_call("SetBrightness(10.0.0.5, 1", 300ms));
}

INSTANTIATE_TEST_SUITE_P(States, BusyWorker, testing::ValuesIn(kBusy),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
