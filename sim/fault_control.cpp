// PUT /sim/faults (with --fault-control): the camera's fault switches from
// another process, for soaks that run the simulator apart from the host they
// measure. The body names the switches that are on; the others go off.
#include <string>

#include "sim/camera_sim_impl.h"

namespace oscsim {

namespace {

using nlohmann::json;

struct FaultSwitch {
    const char* key;
    bool Faults::*flag;
};

// Refusal is left out: a camera that stops listening could not be switched
// back this way.
constexpr FaultSwitch kSwitches[] = {
    {"drop", &Faults::drop},
    {"malformed", &Faults::malformed},
    {"wrong_type", &Faults::wrong_type},
    {"never_answer", &Faults::never_answer},
    {"server_error", &Faults::server_error},
    {"stall", &Faults::stall},
};

// The faults the body asks for, or the reason it cannot be read.
std::string read_faults(const json& body, Faults& faults) {
    if (!body.is_object()) return "the body is not a JSON object";
    for (const auto& [key, value] : body.items()) {
        if (key == "latency_ms" && value.is_number_integer() && value.get<int>() >= 0) {
            faults.latency_ms = value.get<int>();
            continue;
        }
        bool known = false;
        for (const FaultSwitch& s : kSwitches) {
            if (key != s.key || !value.is_boolean()) continue;
            faults.*s.flag = value.get<bool>();
            known = true;
        }
        if (!known) return "unknown switch or value: " + key;
    }
    return "";
}

}  // namespace

void CameraSim::Impl::install_fault_control(httplib::Server& server) {
    server.Put("/sim/faults", [this](const httplib::Request& req, httplib::Response& res) {
        Faults faults;
        const std::string error = read_faults(json::parse(req.body, nullptr, false), faults);
        if (!error.empty()) {
            res.status = 400;
            res.set_content(json{{"error", error}}.dump(), "application/json");
            return;
        }
        apply_faults(faults);
        res.set_content(req.body, "application/json");
    });
}

}  // namespace oscsim
