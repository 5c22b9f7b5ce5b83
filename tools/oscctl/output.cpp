#include "tools/oscctl/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace oscctl {

Output& Output::instance() {
    static Output output;
    return output;
}

void Output::capture_stdout() {
    std::fflush(stdout);
    const int private_fd = ::dup(STDOUT_FILENO);
    if (private_fd < 0) return;
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    if (std::FILE* stream = ::fdopen(private_fd, "w")) out_ = stream;
}

void Output::silence_library_stdout() {
    std::fflush(stdout);
    const int null_fd = ::open("/dev/null", O_WRONLY);
    if (null_fd < 0) return;
    ::dup2(null_fd, STDOUT_FILENO);
    ::close(null_fd);
}

Output Output::collected_into(std::string* sink) const {
    Output copy = *this;
    copy.sink_ = sink;
    return copy;
}

void Output::document(const std::string& text) {
    if (sink_) {
        *sink_ += text + "\n";
        return;
    }
    std::fprintf(out_, "%s\n", text.c_str());
    std::fflush(out_);
}

void Output::document(const nlohmann::json& value) {
    document(value.dump());
}

void Output::line(const std::string& text) {
    if (json_) return;
    document(text);
}

void Output::raw(const std::string& text) {
    if (json_) return;
    if (sink_) {
        *sink_ += text;
        return;
    }
    std::fputs(text.c_str(), out_);
    std::fflush(out_);
}

void Output::binary(const std::string& bytes) {
    if (sink_) {
        *sink_ += bytes;
        return;
    }
    std::fwrite(bytes.data(), 1, bytes.size(), out_);
    std::fflush(out_);
}

std::string format_table(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths;
    for (const Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    std::string text;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) line += std::string(widths[i] - row[i].size() + 2, ' ');
        }
        text += line + "\n";
    }
    return text;
}

namespace {

std::string value_text(const nlohmann::json& value) {
    if (value.is_string()) return value.get<std::string>();
    return value.dump();
}

struct Control {
    const char* key;
    const char* unit;
};

// The controls with a range, in the order a user reads them.
constexpr Control kControls[] = {
    {"brightness", ""}, {"contrast", ""}, {"saturation", ""},  {"sharpness", ""},
    {"awb", "K"},       {"autoawb", ""},  {"antiflicker", ""},
};

struct Detail {
    const char* label;
    const char* key;
    const char* unit;
};

constexpr Detail kDetails[] = {
    {"camera name", "camera_name", ""},
    {"model", "model", ""},
    {"serial", "serial", ""},
    {"manufacturer", "manufacturer", ""},
    {"AST1220 firmware", "ast1220_ver", ""},
    {"AST1230 firmware", "ast1230_ver", ""},
    {"mode", "mode", ""},
    {"wdr", "wdr_value", ""},
    {"hdr", "hdr_value", ""},
    {"tilt shift", "tilt_shift", ""},
    {"vertical flip", "vertical_flipped", ""},
    {"encoding", "encode_type", ""},
    {"frame rate", "framerate", " fps"},
    {"bitrate", "bitrate", " kbit/s"},
    {"gop", "gop", " frames"},
    {"http port", "http_port", ""},
    {"https port", "https_port", ""},
    {"rtsp port", "rtsp_port", ""},
    {"static ip", "is_static_ip", ""},
    {"address", "static_ip", ""},
    {"mask", "mask", ""},
    {"gateway", "gateway", ""},
    {"syslog", "enable_log_server", ""},
    {"syslog server", "log_server_ip", ""},
    {"syslog port", "log_server_port", ""},
    {"authentication", "auth_enabled", ""},
};

}  // namespace

std::vector<Row> settings_rows(const nlohmann::json& params) {
    std::vector<Row> rows{{"setting", "min", "max", "current", "unit"}};
    for (const Control& control : kControls) {
        const std::string base = control.key;
        auto cell = [&](const char* suffix) {
            auto it = params.find(base + suffix);
            return it == params.end() ? std::string("-") : value_text(*it);
        };
        rows.push_back({control.key, cell("_min"), cell("_max"), cell("_current"), control.unit});
    }
    return rows;
}

std::vector<Row> details_rows(const nlohmann::json& params) {
    std::vector<Row> rows;
    for (const Detail& detail : kDetails) {
        auto it = params.find(detail.key);
        if (it == params.end()) continue;
        rows.push_back({detail.label, value_text(*it) + detail.unit});
    }
    auto resolution = params.find("current_resolution");
    if (resolution != params.end() && resolution->is_object()) {
        rows.push_back({"preview", value_text(resolution->value("width", nlohmann::json())) + "x" +
                                       value_text(resolution->value("height", nlohmann::json()))});
    }
    return rows;
}

}  // namespace oscctl
