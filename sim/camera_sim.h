// One simulated camera: an HTTP server on one address that answers the OSC
// requests of the client library, with its state open to tests, a request log and
// fault switches. Usable from tests (start on a free port, read the state, stop) and
// from the osc-camera-sim executable.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "sim/camera_state.h"
#include "sim/request_log.h"
#include "sim/sim_config.h"

namespace oscsim {

class CameraSim {
public:
    explicit CameraSim(SimConfig config = {});
    ~CameraSim();
    CameraSim(const CameraSim&) = delete;
    CameraSim& operator=(const CameraSim&) = delete;

    // Binds and starts serving; false when the address cannot be bound.
    bool start();
    // Stops serving and waits for every request in progress to end.
    void stop();

    const std::string& host() const;
    int port() const;
    // Restarts the camera as a power loss would: whatever it is doing, a
    // firmware update included, is cut off, and it comes back after the
    // configured downtime.
    void power_cycle();

    // Serving now (false while refusing or rebooting).
    bool listening() const;

    void set_faults(const Faults& faults);
    Faults faults() const;

    std::vector<LoggedRequest> requests() const;
    void clear_requests();
    // Called for every request as it arrives, on a server thread.
    void on_request(std::function<void(const LoggedRequest&)> observer);

    nlohmann::json snapshot() const;
    void update_state(const std::function<void(CameraState&)>& change);

    class Impl;  // opaque outside the simulator's own sources

private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace oscsim
