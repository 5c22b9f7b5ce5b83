// What the console knows about one camera, as typed values: the reducers
// (reducers.h) change it, the follow-up policy and the poller read it, the
// page's view (fleet_view.h) shows it. Room is left for a fleet view ordered
// by what needs attention, bulk actions and metrics: every counter and time
// they need is kept here.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/camera_address.h"

namespace osconsole {

using Clock = std::chrono::steady_clock;
using WallMs = std::int64_t;  // milliseconds since the epoch, as the page shows times

// When an input happened: the steady clock for durations, the wall clock for people.
struct Moment {
    Clock::time_point steady;
    WallMs wall = 0;
    static Moment now();
};

enum class Link { Unknown, Online, NotAnswering };

enum class RebootPhase { None, Requested, Restarting, Back, Failed };

struct RebootStep {
    RebootPhase phase;
    WallMs at;
};

struct Reboot {
    RebootPhase phase = RebootPhase::None;
    std::vector<RebootStep> steps;  // this reboot's, in order
    Clock::time_point accepted_at;
};

enum class UpdateStage { None, Queued, Running, Done, Failed };

struct FirmwareUpdate {
    UpdateStage stage = UpdateStage::None;
    int percent = 0;
    std::string text;
};

struct Health {
    bool process_ok = false;
    float cpu_usage = 0;
    float memory_usage = 0;
    bool in_preview = false;
    int mode = 0;
    WallMs at = 0;
};

// The handler's parameter document, parsed once, shared and never changed.
struct ParamsDocument {
    std::string text;
    nlohmann::json parsed;
    std::string name;
    std::string ast1220_version;
    std::string ast1230_version;
    std::optional<int> mode;

    // Nothing for text that is not a JSON object.
    static std::shared_ptr<const ParamsDocument> parse(std::string text);
};

struct ResultEntry {
    std::string command;  // the exported operation; empty for requests it has no name for
    bool ok = false;
    std::string message;
    std::string request;  // the camera-side request that failed, when known
    std::string cause;
    WallMs at = 0;
};

struct LogEntry {
    std::string line;
    WallMs at = 0;
};

struct CommandTally {
    std::uint64_t ok = 0;
    std::uint64_t failed = 0;
};

// What the console should ask the handler for next about the camera.
struct FollowUps {
    // The whole parameter document, from the camera.
    bool refetch = false;
    // The document as the handler holds it (GetCameraParams), after a change
    // the camera accepted. Fetching from the camera instead could overtake a
    // change queued meanwhile: a setter sends the value the handler's record
    // holds when its turn comes, and a fetched document overwrites that record.
    bool report = false;
    // The ROI layout, which the handler does not fetch again when the mode changes.
    bool roi = false;
    // The module versions, after a firmware update.
    bool versions = false;

    FollowUps& operator|=(const FollowUps& o);
};

struct CameraState {
    static constexpr std::size_t kHistory = 20;  // results and log lines kept

    oschost::CameraAddress address;

    Link link = Link::Unknown;
    std::string link_reason;
    WallMs link_since = 0;
    std::optional<WallMs> last_answer;
    std::uint64_t answers = 0;  // grows with every answer

    std::optional<Health> health;
    std::shared_ptr<const ParamsDocument> params;

    Reboot reboot;
    std::uint64_t reboots = 0;  // accepted by the camera

    FirmwareUpdate update;
    std::uint64_t updates_done = 0;
    std::uint64_t updates_failed = 0;

    std::deque<ResultEntry> results;
    std::deque<LogEntry> log;
    std::map<std::string, CommandTally> commands;  // by operation (or request)
    // Operations the console called whose result has not come yet.
    std::map<std::string, WallMs> pending;

    // A whole document or a health query on its way: their answers overwrite
    // the handler's record, from which a queued setter takes its value.
    std::optional<Clock::time_point> fetch_started;
    std::optional<Clock::time_point> poll_started;
    FollowUps follow_ups;

    std::shared_ptr<const std::string> screenshot;
    std::shared_ptr<const std::string> thumbnail;  // the same picture, small; may be absent
    std::uint64_t screenshot_version = 0;
};

// A document fetch or health query still expected to be answered.
bool fetching(const CameraState& camera, Clock::time_point now);
bool polling(const CameraState& camera, Clock::time_point now);

}  // namespace osconsole
