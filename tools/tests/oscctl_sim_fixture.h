// oscctl run as a program against one simulated camera on loopback, shared
// by the oscctl program tests: the runs, the camera, scratch files.
#pragma once

#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "sim/camera_sim.h"

using nlohmann::json;

struct OscctlRun {
    int status = -1;
    std::string out, err;
    double seconds = 0;
};

// Runs the oscctl program; arguments pass through the shell, free of quotes.
OscctlRun run_oscctl(const std::vector<std::string>& args, const std::string& environment = "");

class OscctlAgainstSim : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        oscsim::SimConfig config;
        config.host = "127.0.0.1";
        config.port = 0;
        config.update_step = std::chrono::milliseconds(20);
        config.reboot_downtime = std::chrono::milliseconds(300);
        sim_ = std::make_unique<oscsim::CameraSim>(config);
        ASSERT_TRUE(sim_->start());
    }
    static void TearDownTestSuite() {
        sim_->stop();
        sim_.reset();
    }

    static std::string camera() { return "127.0.0.1:" + std::to_string(sim_->port()); }
    static json options() { return sim_->snapshot()["options"]; }
    // Runs oscctl on the simulated camera: {command, camera, rest...}.
    static OscctlRun run(const std::string& command, std::vector<std::string> rest = {},
                         std::vector<std::string> global = {}) {
        std::vector<std::string> args = global;
        args.push_back(command);
        args.push_back(camera());
        args.insert(args.end(), rest.begin(), rest.end());
        return run_oscctl(args);
    }

    inline static std::unique_ptr<oscsim::CameraSim> sim_;
};

// A file of this test process only: ctest runs tests in parallel.
inline std::string scratch_file(const std::string& name) {
    return ::testing::TempDir() + "/oscctl-" + std::to_string(::getpid()) + "-" + name;
}
