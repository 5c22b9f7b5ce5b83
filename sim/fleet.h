// Several simulated cameras on one port, one loopback address each
// (127.0.0.1, 127.0.0.2, ...).
#pragma once

#include <memory>
#include <vector>

#include "sim/camera_sim.h"

namespace oscsim {

class Fleet {
public:
    Fleet(const SimConfig& base, int count);
    // Starts every camera; the first one picks the port when base.port is 0.
    bool start();
    void stop();
    int port() const { return port_; }
    std::vector<std::unique_ptr<CameraSim>>& cameras() { return cameras_; }

private:
    SimConfig base_;
    int count_;
    int port_ = 0;
    std::vector<std::unique_ptr<CameraSim>> cameras_;
};

}  // namespace oscsim
