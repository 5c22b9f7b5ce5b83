#include "tools/console/reducers.h"

#include <algorithm>
#include <iterator>

namespace osconsole {

namespace {

constexpr std::size_t kMaxMessage = 600;
constexpr const char* kFirmwareCommands[] = {"UpdateFirmwareAll", "Update1220Firmware",
                                             "Update1230Firmware"};
constexpr std::size_t kMaxLogLine = 400;

std::string clipped(const std::string& text, std::size_t limit) {
    return text.size() <= limit ? text : text.substr(0, limit) + "...";
}

template <typename T>
void push_bounded(std::deque<T>& list, T item) {
    list.push_back(std::move(item));
    while (list.size() > CameraState::kHistory) list.pop_front();
}

void record(CameraState& c, ResultEntry entry) {
    CommandTally& tally = c.commands[entry.command.empty() ? entry.request : entry.command];
    ++(entry.ok ? tally.ok : tally.failed);
    entry.message = clipped(entry.message, kMaxMessage);
    push_bounded(c.results, std::move(entry));
}

// An answer of the camera, whatever it said.
void answered(CameraState& c, const Moment& now) {
    ++c.answers;
    c.last_answer = now.wall;
    if (c.link != Link::Online) {
        c.link = Link::Online;
        c.link_reason.clear();
        c.link_since = now.wall;
    }
    if (c.reboot.phase == RebootPhase::Restarting) {
        c.reboot.phase = RebootPhase::Back;
        c.reboot.steps.push_back({RebootPhase::Back, now.wall});
    }
}

void not_answering(CameraState& c, const std::string& what, const std::string& cause,
                   const Moment& now) {
    c.link = Link::NotAnswering;
    c.link_reason =
        (what.empty() ? "a request" : what) + " failed" + (cause.empty() ? "" : ": " + cause);
    c.link_since = now.wall;
    // The handler drops the camera's queue: nothing sent is answered any more.
    c.fetch_started.reset();
    c.poll_started.reset();
    c.pending.clear();
}

struct Reducer {
    CameraState& c;
    const Moment& now;

    void operator()(const oschost::CommandResult& r) {
        const std::string request = r.failure ? r.failure->request : "";
        if (r.no_answer())
            not_answering(c, r.command.empty() ? request : r.command,
                          r.failure ? r.failure->cause : "", now);
        else if (!r.ok)
            answered(c, now);
        c.pending.erase(r.command);
        if (is_firmware_failure(r)) {
            for (const char* command : kFirmwareCommands) c.pending.erase(command);
            if (c.update.stage != UpdateStage::None && c.update.stage != UpdateStage::Failed) {
                c.update = {UpdateStage::Failed, c.update.percent, clipped(r.message, kMaxMessage)};
                ++c.updates_failed;
            }
        }
        record(c,
               {r.command, r.ok, r.message, request, r.failure ? r.failure->cause : "", now.wall});
    }
    void operator()(const oschost::HealthReport& h) {
        c.health =
            Health{h.process_ok, h.cpu_usage, h.memory_usage, h.in_preview, h.mode, now.wall};
        c.poll_started.reset();
    }
    void operator()(const oschost::FirmwareUpload& u) {
        const char* what = u.image ? "firmware image uploaded" : "update script uploaded";
        if (c.update.stage != UpdateStage::None) c.update.text = what;
        record(c, {"upload", true, what, "", "", now.wall});
    }
    void operator()(const oschost::FirmwareProgress& p) {
        if (p.finished && c.update.stage != UpdateStage::Done) ++c.updates_done;
        if (p.finished)
            for (const char* command : kFirmwareCommands) c.pending.erase(command);
        c.update = {p.finished ? UpdateStage::Done : UpdateStage::Running,
                    std::clamp(p.percent, 0, 100), clipped(p.text, kMaxMessage)};
    }
    void operator()(const oschost::RebootState& r) {
        c.pending.erase("RebootCamera");
        if (r.accepted) {
            ++c.reboots;
            c.reboot.accepted_at = now.steady;
        } else if (r.failure && r.failure->no_answer()) {
            not_answering(c, r.failure->request, r.failure->cause, now);
        }
        c.reboot.phase = r.accepted ? RebootPhase::Restarting : RebootPhase::Failed;
        c.reboot.steps.push_back({c.reboot.phase, now.wall});
    }
    void operator()(const oschost::RequestAnswered& a) {
        answered(c, now);
        c.pending.erase(a.request);  // an operation the handler confirms under no name
    }
    void operator()(const oschost::AnswerUnusable& u) {
        answered(c, now);
        record(c, {"", false,
                   "the handler could not use the answer" + (u.what.empty() ? "" : ": " + u.what),
                   u.request, "", now.wall});
    }
    void operator()(const oschost::LogLine& l) {
        push_bounded(c.log, LogEntry{clipped(l.text, kMaxLogLine), now.wall});
    }
    void operator()(const ParamsArrived& p) {
        c.params = p.document;
        c.fetch_started.reset();
        c.pending.erase("GetCameraSettings");
    }
    void operator()(const ActionQueued& a) {
        c.pending[a.command] = now.wall;
        if (a.command == "RebootCamera")
            c.reboot = {RebootPhase::Requested, {{RebootPhase::Requested, now.wall}}, {}};
        if (is_firmware_command(a.command)) c.update = {UpdateStage::Queued, 0, "queued"};
    }
    void operator()(const FetchStarted&) { c.fetch_started = now.steady; }
    void operator()(const PollStarted&) { c.poll_started = now.steady; }
    void operator()(const ScreenshotStored& s) {
        c.screenshot = s.jpeg;
        c.thumbnail = s.thumbnail;
        ++c.screenshot_version;
    }
    void operator()(const ScreenshotFailed& f) {
        record(c, {"TakeScreenShot", false, f.message, "", "", now.wall});
    }
};

}  // namespace

void reduce(CameraState& camera, const Input& input, const Moment& now) {
    std::visit(Reducer{camera, now}, input);
}

bool is_firmware_failure(const oschost::CommandResult& r) {
    if (r.ok) return false;
    if (is_firmware_command(r.command)) return true;
    // UpdateFirmwareAll's failures before the update runs come under no name,
    // with the camera-side request ("UpdateFWAll", "Update1230_7261"...).
    const std::string request = r.command.empty() && r.failure ? r.failure->request : "";
    return request == "UpdateFWAll" || request.rfind("Update1220", 0) == 0 ||
           request.rfind("Update1230", 0) == 0;
}

bool is_firmware_command(const std::string& command) {
    return std::find(std::begin(kFirmwareCommands), std::end(kFirmwareCommands), command) !=
           std::end(kFirmwareCommands);
}

}  // namespace osconsole
