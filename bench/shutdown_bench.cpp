// How long Destroy takes in each state a camera's worker can be in: a host
// that quits must not wait for a reboot pause or a transfer to end.
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "IVeskOSCHandlerInst.h"
#include "comparison.h"
#include "fleet_commands.h"
#include "fleet_helpers.h"
#include "fleet_host.h"
#include "sim_fleet.h"

namespace bench {

namespace {

using namespace std::chrono_literals;

struct BusyState {
    const char* name;
    // Brings the worker (or the fleet) into the state; true once it is there.
    std::function<bool(SimFleet&, int port)> enter;
};

// Waits until camera `index` has received a request for `command`.
bool arrived(const SimFleet& fleet, int index, const std::string& command,
             std::chrono::milliseconds limit = 10s) {
    const auto until = Clock::now() + limit;
    while (Clock::now() < until) {
        for (const Arrival& a : fleet.arrivals(index))
            if (a.request.command == command) return true;
        std::this_thread::sleep_for(5ms);
    }
    return false;
}

std::string firmware_image() {
    const std::string path = "/tmp/osc-shutdown-bench.img";
    std::ofstream(path, std::ios::binary) << std::string(8 << 20, 'x');
    return path;
}

const BusyState kStates[] = {
    {"idle", [](SimFleet&, int) { return true; }},
    // A host that quits one second after the camera took its reboot request.
    {"reboot pause",
     [](SimFleet& fleet, int port) {
         std::this_thread::sleep_for(4s);  // back from the previous run's reboot
         RebootCamera(camera_ip(0).c_str(), port);
         const bool in_pause = arrived(fleet, 0, "camera._reboot");
         std::this_thread::sleep_for(1s);
         return in_pause;
     }},
    {"ports pause",
     [](SimFleet& fleet, int port) {
         SetCameraPorts(camera_ip(1).c_str(), port, port, 443, 554);
         return arrived(fleet, 1, "camera.setOptions");
     }},
    {"log server pause",
     [](SimFleet& fleet, int port) {
         SetSyslogEnable(camera_ip(2).c_str(), port, "127.0.0.1", 514, 1);
         return arrived(fleet, 2, "camera.setOptions");
     }},
    {"firmware upload in flight",
     [](SimFleet& fleet, int port) {
         fleet.hold_answers(true);
         Update1220Firmware(camera_ip(3).c_str(), port, firmware_image().c_str());
         return arrived(fleet, 3, "camera._uploadFile");
     }},
    {"update stream",
     [](SimFleet& fleet, int port) {
         Update1220Firmware(camera_ip(4).c_str(), port, firmware_image().c_str());
         return arrived(fleet, 4, "camera._update", 20s);
     }},
    {"99 transfers in flight",
     [](SimFleet& fleet, int port) {
         fleet.hold_answers(true);
         for (int i = 0; i < fleet.size(); ++i) SetBrightness(camera_ip(i).c_str(), port, 40);
         for (int i = 0; i < fleet.size(); ++i)
             if (!arrived(fleet, i, "camera.setOptions")) return false;
         return true;
     }},
};

}  // namespace

int cmd_shutdown(int runs) {
    SimFleet fleet(99);
    const int port = fleet.port();
    for (const BusyState& state : kStates) {
        Figure figure{"Destroy while busy", std::string("Destroy during: ") + state.name, "ms", 1};
        figure.goal = "< 1000 ms";
        figure.met = [](double median, double) { return median < 1000; };
        for (int run = 0; run < runs; ++run) {
            fleet.hold_answers(false);
            fleet.wait_quiet();
            fleet.clear();
            load_handler();
            if (!state.enter(fleet, port)) {
                std::fprintf(stderr, "shutdown: %s: the state was not reached\n", state.name);
                Destroy();
                return 1;
            }
            const auto started = Clock::now();
            Destroy();
            figure.values.push_back(seconds_between(started, Clock::now()) * 1000);
        }
        emit(figure);
    }
    return 0;
}

}  // namespace bench
