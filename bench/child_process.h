// Programs the benchmarks run beside themselves (the simulator, or a copy of
// fleet_bench), with their standard output read line by line.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace bench {

class ChildProcess {
public:
    // Runs args[0] (searched in PATH) with its standard output on a pipe;
    // running() is false when it could not be started.
    explicit ChildProcess(const std::vector<std::string>& args);
    // Stops the program if it still runs (SIGTERM) and waits for it.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool running() const { return pid_ > 0; }
    // The next line of its output without the newline; false at the end.
    bool read_line(std::string& line);
    // Waits for the program to end by itself.
    void wait();

private:
    pid_t pid_ = -1;
    FILE* out_ = nullptr;
};

// This program's own path, to run a copy of it.
std::string own_executable();

}  // namespace bench
