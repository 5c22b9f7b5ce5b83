// Configuration and fault switches of one simulated camera.
#pragma once

#include <chrono>
#include <string>

namespace oscsim {

struct SimConfig {
    std::string host = "127.0.0.1";
    int port = 0;  // 0 picks a free port at start
    std::string model = "Q07261";
    std::string manufacturer = "OSC Camera Simulator";
    std::string serial = "SIM0001";
    std::string chip_id = "0x7a3c0001";
    std::string camera_name = "camera-1";
    // The generation is read from characters 4 and 5 ("AST108_..." is 8);
    // an "IMRX_" version stands for the newest modules.
    std::string ast1220_version = "AST107_20240115";
    std::string ast1235_version = "AST1235_Q07261_2.4.1";
    std::chrono::milliseconds reboot_downtime{3000};
    std::chrono::milliseconds update_step{200};
    std::chrono::milliseconds capture_time{300};
    // How long an idle connection stays open; 0 closes it after every
    // answer without saying so, as some cameras do.
    std::chrono::seconds keep_alive{1};
    // Set: every request must carry HTTP Digest credentials.
    std::string user;
    std::string password;
    // Set: PUT /sim/faults switches the camera's faults, so that a soak in
    // another process can rotate them.
    bool fault_control = false;
};

struct Faults {
    int latency_ms = 0;         // delay before every answer
    bool drop = false;          // close the connection without an answer
    bool refuse = false;        // stop listening: connections are refused
    bool malformed = false;     // JSON answers are cut in half
    bool wrong_type = false;    // numbers in JSON answers become texts
    bool never_answer = false;  // hold every request until the switch is cleared
    bool server_error = false;  // answer HTTP 500 with an OSC error document
    bool stall = false;         // send half of every answer, then hold the rest
    std::string fail_update;    // "hw" or "upload": firmware updates fail so
    // State replies leave out the health groups named here, for example
    // "CpuUsage" or "imrxMode".
    std::string omit_state_groups;
    // Command-line functions and options the camera does not know, as another
    // firmware: "GetEthernetSettings,_imrxMode" (reads of them are refused).
    std::string unknown;

    bool knows(const std::string& name) const {
        return ("," + unknown + ",").find("," + name + ",") == std::string::npos;
    }
};

}  // namespace oscsim
