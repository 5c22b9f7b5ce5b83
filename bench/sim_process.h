// Simulated cameras in their own osc-camera-sim process, on 127.0.0.1..N:
// the figures of this process then hold only the host's side.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "child_process.h"

namespace bench {

class SimProcess {
public:
    // Starts `cameras` cameras that answer after `latency_ms`; with cpu >= 0
    // the simulator runs on that CPU only (taskset); `flags` go to the
    // simulator as they are. Exits when they cannot start.
    SimProcess(int cameras, int latency_ms, int cpu = -1, std::vector<std::string> flags = {});

    int port() const { return port_; }

private:
    std::unique_ptr<ChildProcess> process_;
    int port_ = 0;
};

}  // namespace bench
