#include "tools/console/metrics.h"

#include <charconv>
#include <cmath>
#include <optional>

namespace osconsole {

namespace {

// A label value as the format wants it quoted.
std::string escaped(const std::string& value) {
    std::string out;
    out.reserve(value.size());
    for (const char c : value) {
        if (c == '\\' || c == '"') out += '\\';
        out += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return out;
}

std::string number(double value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof(text), value).ptr;
    return std::string(text, end);
}

// Shares of 1 with four decimals: more would be noise of the float.
double ratio(double percent) {
    return std::round(percent * 100) / 1e4;
}

// One metric's samples: the camera label first, then any others.
class Family {
public:
    Family(std::string& out, const char* name) : out_(out), name_(name) {}

    void sample(const std::string& camera_label, double value, const std::string& labels = "") {
        out_ += name_;
        out_ += "{camera=\"";
        out_ += camera_label;
        out_ += '"';
        out_ += labels;
        out_ += "} ";
        out_ += number(value);
        out_ += '\n';
    }

private:
    std::string& out_;
    const char* name_;
};

using Value = std::optional<double>;

struct CameraMetric {
    const char* name;
    const char* type;
    const char* help;
    Value (*value)(const CameraState&);  // one sample, or none yet
    void (*samples)(Family&, const std::string& camera, const CameraState&);  // several
};

std::string text_member(const ParamsDocument* params, const char* key) {
    if (!params) return "";
    const auto found = params->parsed.find(key);
    return found != params->parsed.end() && found->is_string() ? found->get<std::string>() : "";
}

void info(Family& f, const std::string& camera, const CameraState& c) {
    const ParamsDocument* p = c.params.get();
    std::string labels = ",name=\"" + escaped(p ? p->name : "") + "\"";
    labels += ",model=\"" + escaped(text_member(p, "model")) + "\"";
    labels += ",serial=\"" + escaped(text_member(p, "serial")) + "\"";
    labels += ",ast1220=\"" + escaped(p ? p->ast1220_version : "") + "\"";
    labels += ",ast1230=\"" + escaped(p ? p->ast1230_version : "") + "\"";
    f.sample(camera, 1, labels);
}

// Both results of each operation from its first use, so that the first
// failure is an increase for rate() and increase().
void commands(Family& f, const std::string& camera, const CameraState& c) {
    for (const auto& [command, tally] : c.commands) {
        const std::string name = ",command=\"" + escaped(command.empty() ? "unnamed" : command);
        f.sample(camera, static_cast<double>(tally.ok), name + "\",result=\"ok\"");
        f.sample(camera, static_cast<double>(tally.failed), name + "\",result=\"failed\"");
    }
}

void updates(Family& f, const std::string& camera, const CameraState& c) {
    f.sample(camera, static_cast<double>(c.updates_done), ",result=\"ok\"");
    f.sample(camera, static_cast<double>(c.updates_failed), ",result=\"failed\"");
}

Value mode(const CameraState& c) {
    if (c.health) return c.health->mode;
    if (c.params && c.params->mode) return *c.params->mode;
    return std::nullopt;
}

// Health series exist once the camera has reported its health.
Value health(const CameraState& c, double (*value)(const Health&)) {
    return c.health ? Value(value(*c.health)) : std::nullopt;
}

Value flag(bool on) {
    return on ? 1.0 : 0.0;
}

const CameraMetric kCameraMetrics[] = {
    {"osc_camera_up", "gauge", "1 while the camera answers, 0 once it has stopped answering.",
     [](const CameraState& c) { return flag(c.link == Link::Online); }, nullptr},
    {"osc_camera_info", "gauge", "The camera's name, model, serial number and module versions.",
     nullptr, info},
    {"osc_camera_cpu_ratio", "gauge", "The camera's CPU use (0..1) at its last health report.",
     [](const CameraState& c) {
         return health(c, [](const Health& h) { return ratio(h.cpu_usage); });
     },
     nullptr},
    {"osc_camera_memory_ratio", "gauge",
     "The camera's memory use (0..1) at its last health report.",
     [](const CameraState& c) {
         return health(c, [](const Health& h) { return ratio(h.memory_usage); });
     },
     nullptr},
    {"osc_camera_process_ok", "gauge", "1 when the camera last reported its processes running.",
     [](const CameraState& c) {
         return health(c, [](const Health& h) { return h.process_ok ? 1.0 : 0.0; });
     },
     nullptr},
    {"osc_camera_preview_running", "gauge", "1 when the camera last reported its preview running.",
     [](const CameraState& c) {
         return health(c, [](const Health& h) { return h.in_preview ? 1.0 : 0.0; });
     },
     nullptr},
    {"osc_camera_mode", "gauge", "The camera's mode (0..3).", mode, nullptr},
    {"osc_camera_last_answer_timestamp_seconds", "gauge",
     "When the camera last answered, in seconds since the epoch.",
     [](const CameraState& c) {
         return c.last_answer ? Value(static_cast<double>(*c.last_answer) / 1000) : std::nullopt;
     },
     nullptr},
    {"osc_camera_commands_total", "counter",
     "Results the handler reported for the camera, by operation and result.", nullptr, commands},
    {"osc_camera_reboots_total", "counter", "Reboots the camera accepted.",
     [](const CameraState& c) { return Value(static_cast<double>(c.reboots)); }, nullptr},
    {"osc_camera_reboot_pending", "gauge",
     "1 from a reboot's request until the camera answers again.",
     [](const CameraState& c) {
         return flag(c.reboot.phase == RebootPhase::Requested ||
                     c.reboot.phase == RebootPhase::Restarting);
     },
     nullptr},
    {"osc_camera_firmware_update_progress_ratio", "gauge",
     "Progress of the camera's last firmware update (0..1).",
     [](const CameraState& c) { return Value(c.update.percent / 100.0); }, nullptr},
    {"osc_camera_firmware_updates_total", "counter", "Firmware updates that ended, by result.",
     nullptr, updates},
};

void header(std::string& out, const char* name, const char* type, const char* help) {
    out += std::string("# HELP ") + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
}

}  // namespace

std::string metrics_text(const std::vector<CameraCopy>& cameras, const std::string& version) {
    std::vector<std::string> labels;
    labels.reserve(cameras.size());
    for (const CameraCopy& copy : cameras) {
        const oschost::CameraAddress& a = copy.state.address;
        labels.push_back(escaped(a.ip + ":" + std::to_string(a.port)));
    }
    std::string out;
    out.reserve(2048 * (cameras.size() + 1));
    for (const CameraMetric& metric : kCameraMetrics) {
        header(out, metric.name, metric.type, metric.help);
        Family family(out, metric.name);
        for (std::size_t i = 0; i < cameras.size(); ++i) {
            const CameraState& camera = cameras[i].state;
            if (metric.samples) metric.samples(family, labels[i], camera);
            if (!metric.value) continue;
            if (const Value value = metric.value(camera)) family.sample(labels[i], *value);
        }
    }
    header(out, "osc_console_cameras", "gauge", "Cameras this console watches.");
    out += "osc_console_cameras " + std::to_string(cameras.size()) + "\n";
    header(out, "osc_console_build_info", "gauge", "The console's version.");
    out += "osc_console_build_info{version=\"" + escaped(version) + "\"} 1\n";
    return out;
}

}  // namespace osconsole
