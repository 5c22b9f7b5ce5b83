// osc-camera-sim as a program of its own (SIM_PROGRAM), on a free port; the
// port is read from its first line. Its cameras' memory is not this process's.
#pragma once

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include <httplib.h>

extern char** environ;

class SimProgram {
public:
    explicit SimProgram(std::vector<std::string> flags) {
        std::vector<std::string> args{SIM_PROGRAM, "--port", "0"};
        args.insert(args.end(), flags.begin(), flags.end());
        std::vector<char*> argv;
        for (std::string& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        int out[2];
        if (pipe(out) != 0) return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        if (posix_spawn(&pid_, SIM_PROGRAM, &actions, nullptr, argv.data(), environ) != 0) pid_ = 0;
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        output_ = fdopen(out[0], "r");
        char line[256];
        while (pid_ > 0 && output_ && std::fgets(line, sizeof line, output_)) {
            if (std::sscanf(line, "camera 127.0.0.1:%d", &port_) == 1) break;
        }
    }
    ~SimProgram() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
        if (output_) std::fclose(output_);
    }
    SimProgram(const SimProgram&) = delete;
    SimProgram& operator=(const SimProgram&) = delete;

    int port() const { return port_; }

    // Switches the faults of the camera on `host` (the program runs with
    // --fault-control); false when the switch was refused.
    bool set_faults(const std::string& host, const std::string& faults) const {
        const auto answer =
            httplib::Client(host, port_).Put("/sim/faults", faults, "application/json");
        return answer && answer->status == 200;
    }

private:
    pid_t pid_ = 0;
    FILE* output_ = nullptr;
    int port_ = 0;
};
