#include "tools/oscctl/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "host/settings_table.h"

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

// The failure's request and cause, for failures the host layer could name.
void add_failure(nlohmann::json& doc, const std::optional<oschost::RequestFailure>& failure) {
    if (!failure) return;
    doc["request"] = failure->request;
    if (!failure->cause.empty()) doc["cause"] = failure->cause;
}

nlohmann::json as_json(const oschost::DeviceList& e) {
    std::string list;
    for (const auto& camera : e.cameras) list += camera.text() + ";";
    return {{"event", "devices"}, {"list", list}};
}
nlohmann::json as_json(const oschost::ParamsReport& e) {
    auto document = nlohmann::json::parse(e.document, nullptr, false);
    return {{"event", "params"},
            {"ip", e.ip},
            {"json", document.is_discarded() ? nlohmann::json(e.document) : document}};
}
nlohmann::json as_json(const oschost::CommandResult& e) {
    nlohmann::json doc{{"event", "result"},
                       {"ip", e.ip},
                       {"command", e.command},
                       {"ok", e.ok},
                       {"message", e.message}};
    add_failure(doc, e.failure);
    return doc;
}
nlohmann::json as_json(const oschost::HealthReport& e) {
    return {{"event", "health"},
            {"ip", e.ip},
            {"process_ok", e.process_ok},
            {"cpu_usage", e.cpu_usage},
            {"memory_usage", e.memory_usage},
            {"in_preview", e.in_preview},
            {"mode", e.mode}};
}
nlohmann::json as_json(const oschost::FirmwareUpload& e) {
    return {{"event", "fw_upload"}, {"ip", e.ip}, {"image", e.image}};
}
nlohmann::json as_json(const oschost::FirmwareProgress& e) {
    return {{"event", "fw_progress"}, {"ip", e.ip}, {"text", e.text}, {"value", e.percent}};
}
nlohmann::json as_json(const oschost::RebootState& e) {
    nlohmann::json doc{{"event", "reboot"}, {"ip", e.ip}, {"state", e.accepted}};
    add_failure(doc, e.failure);
    return doc;
}
nlohmann::json as_json(const oschost::AnswerUnusable& e) {
    return {{"event", "unhandled"}, {"ip", e.ip}, {"request", e.request}, {"message", e.what}};
}

}  // namespace

std::optional<nlohmann::json> event_json(const oschost::Event& event) {
    return std::visit(
        [](const auto& e) -> std::optional<nlohmann::json> {
            using Kind = std::decay_t<decltype(e)>;
            if constexpr (std::is_same_v<Kind, oschost::RequestSent> ||
                          std::is_same_v<Kind, oschost::RequestAnswered> ||
                          std::is_same_v<Kind, oschost::LogLine>)
                return std::nullopt;
            else
                return as_json(e);
        },
        event);
}

std::vector<Row> settings_rows(const nlohmann::json& params) {
    std::vector<Row> rows{{"setting", "min", "max", "current", "unit"}};
    auto cell = [&](const char* member) {
        auto it = params.find(member);
        return it == params.end() ? std::string("-") : value_text(*it);
    };
    for (const oschost::Setting& s : oschost::settings()) {
        if (!s.advertised()) continue;
        rows.push_back({s.name, cell(s.min_member), cell(s.max_member), cell(s.member), s.unit});
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
