#include "tools/console/audit_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <stdexcept>

#include "tools/console/access_policy.h"
#include "tools/console/reducers.h"

namespace osconsole {

namespace {

using Line = nlohmann::ordered_json;

// Results beyond these are forgotten, oldest first: a camera whose results
// never come does not grow the console.
constexpr std::size_t kMaxPendingPerCamera = 64;

// UTC with milliseconds, as in 2026-11-24T03:40:57.123Z.
std::string utc_now() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[40];
    const std::size_t length = std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text + length, sizeof(text) - length, ".%03dZ",
                  static_cast<int>(ms.count() % 1000));
    return text;
}

Line describe(const ActionRecord& action) {
    return {{"time", utc_now()},
            {"remote", action.remote},
            {"role", action.role ? Line(role_name(*action.role)) : Line()},
            {"camera", action.camera},
            {"action", action.action}};
}

struct Outcome {
    bool ok;
    std::string message;
};

std::string failure_text(const std::string& message,
                         const std::optional<oschost::RequestFailure>& f) {
    return f && !f->cause.empty() ? message + ": " + f->cause : message;
}

// What `event` tells of the result of `operation` queued for its camera, if anything.
std::optional<Outcome> result_of(const oschost::Event& event, const std::string& operation) {
    const auto* result = std::get_if<oschost::CommandResult>(&event);
    // An update is acknowledged on the way; it ends with its last progress line or a failure.
    if (is_firmware_command(operation)) {
        if (result && !result->ok && is_firmware_command(result->command))
            return Outcome{false, failure_text(result->message, result->failure)};
        const auto* progress = std::get_if<oschost::FirmwareProgress>(&event);
        if (progress && progress->finished) return Outcome{true, progress->text};
        return std::nullopt;
    }
    if (result && result->command == operation)
        return Outcome{result->ok, failure_text(result->message, result->failure)};
    if (const auto* r = std::get_if<oschost::RebootState>(&event); r && operation == "RebootCamera")
        return Outcome{r->accepted, r->accepted ? "the camera is restarting"
                                                : failure_text("the camera refused", r->failure)};
    if (std::holds_alternative<oschost::ParamsReport>(event) && operation == "GetCameraSettings")
        return Outcome{true, "parameter document received"};
    return std::nullopt;
}

// A request that got no answer the camera meant: the handler drops the camera's queue.
bool drops_queue(const oschost::Event& event) {
    if (const auto* r = std::get_if<oschost::CommandResult>(&event)) return r->no_answer();
    if (const auto* r = std::get_if<oschost::RebootState>(&event))
        return r->failure && r->failure->no_answer();
    return false;
}

}  // namespace

AuditLog::AuditLog(const std::string& path) : path_(path) {
    if (path == kStandardError) {
        fd_ = STDERR_FILENO;
        path_ = "standard error";
        return;
    }
    // Appended to only, never truncated or rewritten.
    fd_ = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd_ < 0)
        throw std::runtime_error("cannot open the audit log " + path + ": " + std::strerror(errno));
}

AuditLog::~AuditLog() {
    if (fd_ > STDERR_FILENO) ::close(fd_);
}

void AuditLog::refused(const ActionRecord& action, int status, const std::string& reason) {
    Line line = describe(action);
    line["parameters"] = action.parameters;
    line["outcome"] = "refused";
    line["status"] = status;
    line["reason"] = reason;
    std::lock_guard<std::mutex> lock(mutex_);
    write(line);
}

void AuditLog::queued(const ActionRecord& action, const std::string& operation) {
    if (fd_ < 0) return;
    Line line = describe(action);
    line["parameters"] = action.parameters;
    line["outcome"] = "queued";
    line["operation"] = operation;
    std::lock_guard<std::mutex> lock(mutex_);
    line["id"] = ++next_id_;
    write(line);
    std::deque<Pending>& waiting = pending_[action.camera];
    waiting.push_back({next_id_, operation, action});
    waiting.back().action.parameters = nullptr;
    if (waiting.size() > kMaxPendingPerCamera) waiting.pop_front();
}

void AuditLog::on_event(const oschost::Event& event) {
    if (fd_ < 0) return;
    const std::string& camera = oschost::camera_of(event);
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = pending_.find(camera);
    if (found == pending_.end()) return;
    std::deque<Pending>& waiting = found->second;
    for (auto it = waiting.begin(); it != waiting.end(); ++it)
        if (const auto outcome = result_of(event, it->operation)) {
            write_result(*it, outcome->ok, outcome->message);
            waiting.erase(it);
            break;
        }
    if (drops_queue(event)) {
        for (const Pending& dropped : waiting)
            write_result(dropped, false, "not sent: the camera stopped answering");
        waiting.clear();
    }
    if (waiting.empty()) pending_.erase(found);
}

void AuditLog::write_result(const Pending& pending, bool ok, const std::string& message) {
    Line line = describe(pending.action);
    line["operation"] = pending.operation;
    line["id"] = pending.id;
    line["outcome"] = ok ? "ok" : "failed";
    line["result"] = message;
    write(line);
}

void AuditLog::write(const Line& line) {
    if (fd_ < 0) return;
    const std::string text = line.dump(-1, ' ', false, Line::error_handler_t::replace) + "\n";
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t n = ::write(fd_, text.data() + written, text.size() - written);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            if (!failure_reported_)
                std::fprintf(stderr,
                             "osc-console: cannot write the audit log %s: %s (not "
                             "reported again; the console goes on)\n",
                             path_.c_str(), n < 0 ? std::strerror(errno) : "nothing written");
            failure_reported_ = true;
            return;
        }
        written += static_cast<std::size_t>(n);
    }
}

}  // namespace osconsole
