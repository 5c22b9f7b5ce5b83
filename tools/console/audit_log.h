// The audit trail of actions: one JSON object per line for every action
// request, accepted or refused (time, remote address, role, camera, action,
// parameters, outcome), and one more when the camera's result of a queued
// action arrives. The file is only ever appended to; a write that fails is
// reported once on standard error and the console goes on.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "host/events.h"
#include "tools/console/actor.h"

namespace osconsole {

// One action request as the audit tells it.
struct ActionRecord {
    std::string remote;
    std::optional<Role> role;  // none when the request carried no valid token
    std::string camera;
    std::string action;
    nlohmann::json parameters;  // the request's body; null when it was not read
};

class AuditLog {
public:
    static constexpr const char* kStandardError = "-";

    // Writes nothing.
    AuditLog() = default;
    // Appends to `path` (kStandardError: standard error); throws
    // std::runtime_error when the file cannot be opened.
    explicit AuditLog(const std::string& path);
    ~AuditLog();
    AuditLog(const AuditLog&) = delete;
    AuditLog& operator=(const AuditLog&) = delete;

    void refused(const ActionRecord& action, int status, const std::string& reason);
    // Called before the operation: its result may come at once.
    void queued(const ActionRecord& action, const std::string& operation);
    // A subscriber of the handler session: the result lines.
    void on_event(const oschost::Event& event);

private:
    struct Pending {
        std::uint64_t id;
        std::string operation;
        ActionRecord action;
    };
    void write_result(const Pending& pending, bool ok, const std::string& message);
    void write(const nlohmann::ordered_json& line);

    int fd_ = -1;
    std::string path_;
    // Guards everything below; lines are written under it, so they keep their order.
    std::mutex mutex_;
    bool failure_reported_ = false;
    std::uint64_t next_id_ = 0;
    // Queued actions by camera, oldest first: a camera's commands are answered in order.
    std::map<std::string, std::deque<Pending>> pending_;
};

}  // namespace osconsole
