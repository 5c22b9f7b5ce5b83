// Events as a host sees them from a real handler over the client-library
// double: each answer the double gives, and what the host layer makes of the
// handler's callbacks and log lines for it.
#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "IVeskOSCHandlerInst.h"
#include "host/answer_wait.h"
#include "support/client_double.h"

namespace {

using namespace std::chrono_literals;
using namespace oschost;

std::string by(const std::optional<RequestFailure>& failure) {
    if (!failure) return "";
    return " (" + failure->request + (failure->cause.empty() ? "" : ": " + failure->cause) +
           (failure->no_answer() ? ", no answer)" : ")");
}

// One line per event that tells something about the request; "!" marks
// what ends a wait as a failure.
std::string describe_kind(const Event& event);
std::string describe(const Event& event) {
    const std::string text = describe_kind(event);
    return text.empty() || !is_failure(event) ? text : "! " + text;
}
std::string describe_kind(const Event& event) {
    if (const auto* e = std::get_if<CommandResult>(&event))
        return "result " + e->command + (e->ok ? " ok " : " failed ") + e->message + by(e->failure);
    if (const auto* e = std::get_if<RebootState>(&event))
        return std::string("reboot ") + (e->accepted ? "accepted" : "refused") + by(e->failure);
    if (const auto* e = std::get_if<RequestSent>(&event))
        return "sent " + e->command + " " + std::to_string(e->port);
    if (const auto* e = std::get_if<RequestAnswered>(&event)) return "answered " + e->request;
    if (const auto* e = std::get_if<AnswerUnusable>(&event)) return "unusable " + e->request;
    if (const auto* e = std::get_if<FirmwareProgress>(&event))
        return "progress " + std::to_string(e->percent) + (e->finished ? " finished" : "");
    if (const auto* e = std::get_if<DeviceList>(&event)) {
        std::string text = "devices";
        for (const auto& camera : e->cameras) text += " " + camera.text();
        return text;
    }
    return "";
}

struct Row {
    const char* ip;
    std::function<void(const char* ip)> call;
    const char* answered_call;  // the first client call answered, and how
    const char* answer;
    int status;
    std::vector<std::string> events;  // the camera's first events, described
};

TEST(Session, EveryAnswerAsTypedEventsNamingTheRequest) {
    const Row rows[] = {
        {"127.0.0.11",
         [](const char* ip) { GetCameraSettings(ip, 8081, true); },
         "GetNetSetting",
         R"({"name":"camera._cmdLine","func":"GetEthernetSettings","reason":"Command executed is unknown"})",
         1,
         {"sent GetNetSetting 8081",
          "! result  failed Command executed is unknown (GetEthernetSettings)"}},
        {"127.0.0.12",
         [](const char* ip) { SetDHCP(ip, 8081); },
         "SetDhcp",
         R"({"name":"camera.setOptions","func":"SetDhcp","state":"done"})",
         0,
         {"sent SetDhcp 8081", "answered SetDhcp", "result  ok "}},
        {"127.0.0.13",
         [](const char* ip) { SetBrightness(ip, 8081, 5); },
         "SetBrightness",
         R"({"name":"camera.setOptions","func":"SetBrightness","reason":"Request exception","cause":"connection refused"})",
         1,
         {"sent SetBrightness 8081",
          "! result SetBrightness failed Request exception (SetBrightness: connection refused, no "
          "answer)"}},
        // The handler reads the document, not the request: no reboot pause follows.
        {"127.0.0.14",
         [](const char* ip) { GetMode(ip, 8081); },
         "GetImrxMode",
         R"({"name":"reboot","func":"Reboot","reason":"HTTP 400"})",
         1,
         {"sent GetImrxMode 8081", "! reboot refused (Reboot)",
          "! result  failed HTTP 400 (Reboot)"}},
        {"127.0.0.15",
         [](const char* ip) { GetCameraHealthAndUsage(ip, 8081); },
         "GetCameraState",
         R"({"name":"state","state":)",
         0,
         {"sent GetCameraState 8081", "answered GetCameraState", "! unusable GetCameraState"}},
        {"127.0.0.16",
         [](const char* ip) { Update1220Firmware(ip, 8081, "a.img"); },
         "Update1220",
         "[FW update end]",
         0,
         {"sent Update1220 8081", "answered Update1220", "progress 100 finished"}},
    };
    ClientDouble client;
    EventLog log;
    Session session(ClientDouble::directory());
    session.subscribe(log.recorder());
    // The failure documents' lines name no camera; the thread that logs them does.
    std::mutex mutex;
    std::vector<std::string> failure_lines;
    session.subscribe([&](const Event& e) {
        const auto* line = std::get_if<LogLine>(&e);
        std::lock_guard<std::mutex> lock(mutex);
        if (line && line->text.rfind("OscApi Error: ", 0) == 0) failure_lines.push_back(line->ip);
    });
    (*client).on_call([&](const std::string& line, const std::string& ip) {
        for (const Row& row : rows)
            if (ip == row.ip && line.rfind(row.answered_call, 0) == 0)
                (*client).respond(row.answer, ip, row.status);
    });
    (*client).discover({"cam one,Q07261,127.0.0.17,8081", "broken"});
    std::size_t cursor = 0;
    EXPECT_TRUE(log.wait_for(
        cursor, [](const Event& e) { return !describe(e).empty(); }, 10s));
    EXPECT_EQ(describe(log.since(0)[cursor - 1]), "devices 127.0.0.17:8081");

    for (const Row& row : rows) {
        SCOPED_TRACE(row.ip);
        row.call(row.ip);
        std::vector<std::string> seen;
        std::size_t at = cursor;
        while (seen.size() < row.events.size()) {
            const auto event = log.wait_for(
                at, [&](const Event& e) { return camera_of(e) == row.ip && !describe(e).empty(); },
                10s);
            if (!event) break;
            seen.push_back(describe(*event));
        }
        EXPECT_EQ(seen, row.events);
    }
    {
        std::lock_guard<std::mutex> lock(mutex);
        EXPECT_EQ(failure_lines,
                  (std::vector<std::string>{"127.0.0.11", "127.0.0.13", "127.0.0.14"}));
    }
    // A waiter hears the failure of a request it did not ask about.
    CameraWait wait(log, "127.0.0.11", 10s, cursor);
    const Awaited params = wait.next<ParamsReport>();
    EXPECT_EQ(params.end, WaitEnd::Failed);
    EXPECT_EQ(describe(*params.event),
              "! result  failed Command executed is unknown (GetEthernetSettings)");
}

}  // namespace
