// The README's host example in C++, through the host layer: typed events, a
// wait for each answer, the settings table's range check, and the failure's
// request and cause when something goes wrong.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <nlohmann/json.hpp>

#include "IVeskOSCHandlerInst.h"
#include "oschost/answer_wait.h"
#include "oschost/settings_table.h"

namespace {

// What failed, as the host layer names it.
int failed(const oschost::Awaited& awaited) {
    if (awaited.end == oschost::WaitEnd::Silent) {
        std::printf("no answer\n");
    } else if (const auto* result = std::get_if<oschost::CommandResult>(&*awaited.event)) {
        const std::string request = result->failure ? result->failure->request : "";
        std::printf("%s failed: %s (%s)\n",
                    result->command.empty() ? request.c_str() : result->command.c_str(),
                    result->message.c_str(), result->failure ? result->failure->cause.c_str() : "");
    }
    return 1;
}

}  // namespace

// host-cpp [IP [PORT [LIBDIR]]]: defaults are a simulated camera on this machine.
int main(int argc, char** argv) {
    const std::string ip = argc > 1 ? argv[1] : "127.0.0.1";
    const int port = argc > 2 ? std::atoi(argv[2]) : osc_texts::kDefaultHttpPort;
    oschost::EventLog events;  // outlives the session, whose end stops every callback
    oschost::Session session(argc > 3 ? argv[3] : "/opt/osc/lib");
    session.subscribe(events.recorder());
    // A silent camera takes 5 s a command; each answer starts the time again.
    oschost::CameraWait wait(events, ip, std::chrono::seconds(15));

    GetCameraSettings(ip.c_str(), port, false);
    const oschost::Awaited params = wait.next<oschost::ParamsReport>();
    if (params.end != oschost::WaitEnd::Arrived) return failed(params);
    const std::string& document = std::get<oschost::ParamsReport>(*params.event).document;
    std::printf("%s %s\n", ip.c_str(), document.c_str());

    const oschost::Setting& brightness = *oschost::find_setting("brightness");
    const auto parsed = nlohmann::json::parse(document);
    if (oschost::check_range(brightness, 40, &parsed).verdict == oschost::RangeVerdict::Outside) {
        std::printf("40 is outside the camera's brightness range\n");
        return 1;
    }
    brightness.set(ip.c_str(), port, 40);
    const oschost::Awaited result = wait.result(brightness.command);
    if (result.end != oschost::WaitEnd::Arrived) return failed(result);
    std::printf("%s ok\n", brightness.command);
    return 0;
}
