#include "sim/fleet.h"

#include <string>

namespace oscsim {

Fleet::Fleet(const SimConfig& base, int count) : base_(base), count_(count), port_(base.port) {}

bool Fleet::start() {
    for (int i = 1; i <= count_; ++i) {
        SimConfig c = base_;
        c.host = "127.0.0." + std::to_string(i);
        c.port = port_;
        const std::string n = std::to_string(i);
        c.serial = "SIM" + std::string(4 - std::min<std::size_t>(4, n.size()), '0') + n;
        c.camera_name = "camera-" + n;
        auto camera = std::make_unique<CameraSim>(c);
        if (!camera->start()) {
            stop();
            return false;
        }
        port_ = camera->port();
        cameras_.push_back(std::move(camera));
    }
    return true;
}

void Fleet::stop() {
    for (auto& camera : cameras_) camera->stop();
    cameras_.clear();
}

}  // namespace oscsim
