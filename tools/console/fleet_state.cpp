#include "tools/console/fleet_state.h"

#include <algorithm>
#include <cctype>

namespace osconsole {

using nlohmann::json;

namespace {

constexpr std::size_t kMaxCameras = 99;  // the handler's own limit
constexpr std::size_t kMaxMessage = 600;
constexpr std::size_t kMaxLogLine = 400;
// The handler rests this long after a reboot (plus its 5 s answer gate).
constexpr auto kRebootPause = std::chrono::seconds(45);
// A document fetch takes about a second, a health query much less.
constexpr auto kFetchLimit = std::chrono::seconds(20);

std::int64_t now_ms() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string clipped(const std::string& text, std::size_t limit) {
    return text.size() <= limit ? text : text.substr(0, limit) + "...";
}

template <typename T>
void push_bounded(std::deque<T>& list, T item, std::size_t limit) {
    list.push_back(std::move(item));
    while (list.size() > limit) list.pop_front();
}

// A request still expected to be answered: one that has not ended within
// the limit has lost its answer.
bool recent(const std::optional<Clock::time_point>& started) {
    return started && Clock::now() - *started < kFetchLimit;
}

std::string dump(const json& value) {
    // Texts from cameras need not be valid UTF-8.
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string text_member(const json& doc, const char* key) {
    const auto found = doc.find(key);
    return found != doc.end() && found->is_string() ? found->get<std::string>() : "";
}

bool is_firmware_command(const std::string& command) {
    return command == "UpdateFirmwareAll" || command == "Update1220Firmware" ||
           command == "Update1230Firmware";
}

}  // namespace

enum class RebootPhase { None, Requested, Restarting };

struct FleetState::Camera {
    CameraKey key;
    std::uint64_t card_seq = 0;
    std::uint64_t params_seq = 0;
    std::int64_t changed_at = 0;
    std::uint64_t answers = 0;
    FollowUps follow_ups;
    std::optional<Clock::time_point> fetch_started;
    std::optional<Clock::time_point> poll_started;

    std::string link = "unknown";  // then "online" or "not answering"
    std::string link_reason;
    std::int64_t link_since = now_ms();

    json health;  // null until the first report
    std::string params_text;
    json params;  // parsed, for names, versions and ranges

    json reboot = json::array();  // this reboot's steps, in order
    RebootPhase reboot_phase = RebootPhase::None;
    Clock::time_point reboot_accepted_at;

    json update;  // null until an update starts
    std::deque<json> results;
    std::deque<json> log;

    std::shared_ptr<const std::string> screenshot;
    std::uint64_t screenshot_seq = 0;
};

FleetState::FleetState() = default;
FleetState::~FleetState() = default;

FleetState::Camera* FleetState::find(const std::string& ip) {
    for (auto& camera : cameras_)
        if (camera->key.ip == ip) return camera.get();
    return nullptr;
}

const FleetState::Camera* FleetState::find(const std::string& ip) const {
    return const_cast<FleetState*>(this)->find(ip);
}

void FleetState::touch(Camera& camera) {
    camera.card_seq = ++seq_;
    camera.changed_at = now_ms();
    changed_.notify_all();
}

void FleetState::answered(Camera& camera) {
    ++camera.answers;
    if (camera.link != "online") {
        // The handler forgets a camera's parameters when it stops answering.
        if (camera.link == "not answering") camera.follow_ups.refetch = true;
        camera.link = "online";
        camera.link_reason.clear();
        camera.link_since = now_ms();
    }
    if (camera.reboot_phase == RebootPhase::Restarting) {
        camera.reboot.push_back({{"state", "back"}, {"at", now_ms()}});
        camera.reboot_phase = RebootPhase::None;
        camera.follow_ups.refetch = true;  // the camera came back with its saved settings
    }
}

bool FleetState::add_camera(const CameraKey& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (find(key.ip) || cameras_.size() >= kMaxCameras) return false;
    cameras_.push_back(std::make_unique<Camera>());
    cameras_.back()->key = key;
    touch(*cameras_.back());
    return true;
}

std::optional<int> FleetState::port_of(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Camera* camera = find(ip);
    if (!camera) return std::nullopt;
    return camera->key.port;
}

std::size_t FleetState::size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return cameras_.size();
}

void FleetState::on_params(const std::string& ip, const std::string& text) {
    json doc = json::parse(text, nullptr, false);
    if (!doc.is_object()) return;
    std::lock_guard<std::mutex> lock(mutex_);
    Camera* camera = find(ip);
    // Not an answer of its own: the handler also reports from its record.
    if (!camera) return;
    camera->fetch_started.reset();
    camera->params_text = text;
    camera->params = std::move(doc);
    touch(*camera);
    camera->params_seq = camera->card_seq;
}

void FleetState::on_result(const std::string& ip, const std::string& command, bool ok,
                           const std::string& message) {
    std::lock_guard<std::mutex> lock(mutex_);
    Camera* camera = find(ip);
    if (!camera) return;
    if (!ok && message == kNoAnswerReason) {
        camera->link = "not answering";
        camera->link_reason = command.empty() ? "a request failed" : command + " failed";
        camera->link_since = now_ms();
        // The handler drops the camera's queue.
        camera->fetch_started.reset();
        camera->poll_started.reset();
    } else {
        answered(*camera);
    }
    // The next parameter document shows what became of a change: the
    // handler's record holds it once accepted; a refused one is read back.
    if (command.rfind("Set", 0) == 0 && message != kNoAnswerReason) {
        camera->follow_ups.report |= ok;
        camera->follow_ups.refetch |= !ok;
        camera->follow_ups.roi |= ok && command == "SetMode";
    }
    if (ok && command == "GetROI") camera->follow_ups.report = true;
    if (!ok && is_firmware_command(command) && camera->update.is_object()) {
        camera->update["failed"] = true;
        camera->update["active"] = false;
        camera->update["text"] = clipped(message, kMaxMessage);
    }
    record_result(*camera, command, ok, message);
    touch(*camera);
}

void FleetState::record_result(Camera& camera, const std::string& command, bool ok,
                               const std::string& message) {
    push_bounded(camera.results,
                 json{{"command", command},
                      {"ok", ok},
                      {"message", clipped(message, kMaxMessage)},
                      {"at", now_ms()}},
                 kHistory);
}

void FleetState::note_failure(const std::string& ip, const std::string& command,
                              const std::string& message) {
    std::lock_guard<std::mutex> lock(mutex_);
    Camera* camera = find(ip);
    if (!camera) return;
    record_result(*camera, command, false, message);
    touch(*camera);
}

void FleetState::on_health(const std::string& ip, bool process_ok, float cpu, float memory,
                           bool in_preview, int mode) {
    std::lock_guard<std::mutex> lock(mutex_);
    Camera* camera = find(ip);
    if (!camera) return;
    answered(*camera);
    camera->poll_started.reset();
    camera->health = {{"process_ok", process_ok}, {"cpu", cpu},   {"memory", memory},
                      {"in_preview", in_preview}, {"mode", mode}, {"at", now_ms()}};
    touch(*camera);
}

void FleetState::on_upload_confirmed(const std::string& ip, bool firmware_image) {
    std::lock_guard<std::mutex> lock(mutex_);
    Camera* camera = find(ip);
    if (!camera) return;
    answered(*camera);
    const char* what = firmware_image ? "firmware image uploaded" : "update script uploaded";
    if (camera->update.is_object()) camera->update["text"] = what;
    record_result(*camera, "upload", true, what);
    touch(*camera);
}

void FleetState::on_update_progress(const std::string& ip, const std::string& text, int value) {
    std::lock_guard<std::mutex> lock(mutex_);
    Camera* camera = find(ip);
    if (!camera) return;
    answered(*camera);
    // The camera's update script ends with this line.
    const bool done = text.find("[FW update end]") != std::string::npos;
    camera->update = {{"text", clipped(text, kMaxMessage)},
                      {"value", std::clamp(value, 0, 100)},
                      {"active", !done},
                      {"done", done},
                      {"failed", false}};
    camera->follow_ups.versions |= done;
    touch(*camera);
}

void FleetState::on_reboot_state(const std::string& ip, bool accepted) {
    std::lock_guard<std::mutex> lock(mutex_);
    Camera* camera = find(ip);
    if (!camera) return;
    if (accepted) {
        ++camera->answers;
        camera->reboot_phase = RebootPhase::Restarting;
        camera->reboot_accepted_at = Clock::now();
    } else {
        camera->reboot_phase = RebootPhase::None;
    }
    camera->reboot.push_back({{"state", accepted ? "restarting" : "failed"}, {"at", now_ms()}});
    touch(*camera);
}

void FleetState::on_log(const std::string& line) {
    std::lock_guard<std::mutex> lock(mutex_);
    // The handler's lines name a camera by its IP text, often glued to the
    // next word ("127.0.0.3send command ..."): look up every run of digits
    // and dots.
    Camera* owner = nullptr;
    for (std::size_t i = 0; i < line.size() && !owner;) {
        if (!std::isdigit(static_cast<unsigned char>(line[i]))) {
            ++i;
            continue;
        }
        std::size_t end = i;
        while (end < line.size() &&
               (std::isdigit(static_cast<unsigned char>(line[end])) || line[end] == '.'))
            ++end;
        owner = find(line.substr(i, end - i));
        i = end;
    }
    const std::string text = clipped(line, kMaxLogLine);
    if (owner) {
        push_bounded(owner->log, json{{"line", text}, {"at", now_ms()}}, kHistory);
        touch(*owner);
        return;
    }
    push_bounded(fleet_log_, {++seq_, text}, kFleetLog);
    changed_.notify_all();
}

void FleetState::reboot_requested(const std::string& ip) {
    std::lock_guard<std::mutex> lock(mutex_);
    Camera* camera = find(ip);
    if (!camera) return;
    camera->reboot = json::array({{{"state", "requested"}, {"at", now_ms()}}});
    camera->reboot_phase = RebootPhase::Requested;
    touch(*camera);
}

void FleetState::update_started(const std::string& ip) {
    std::lock_guard<std::mutex> lock(mutex_);
    Camera* camera = find(ip);
    if (!camera) return;
    camera->update = {
        {"text", "queued"}, {"value", 0}, {"active", true}, {"done", false}, {"failed", false}};
    touch(*camera);
}

void FleetState::set_screenshot(const std::string& ip, std::string jpeg) {
    std::lock_guard<std::mutex> lock(mutex_);
    Camera* camera = find(ip);
    if (!camera) return;
    camera->screenshot = std::make_shared<const std::string>(std::move(jpeg));
    touch(*camera);
    camera->screenshot_seq = camera->card_seq;
}

std::shared_ptr<const std::string> FleetState::screenshot(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Camera* camera = find(ip);
    return camera ? camera->screenshot : nullptr;
}

std::optional<Range> FleetState::advertised_range(const std::string& ip,
                                                  const std::string& name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Camera* camera = find(ip);
    if (!camera || !camera->params.is_object()) return std::nullopt;
    const auto min = camera->params.find(name + "_min");
    const auto max = camera->params.find(name + "_max");
    if (min == camera->params.end() || max == camera->params.end() || !min->is_number_integer() ||
        !max->is_number_integer())
        return std::nullopt;
    return Range{min->get<int>(), max->get<int>()};
}

bool FleetState::has_params(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Camera* camera = find(ip);
    return camera && camera->params.is_object();
}

void FleetState::fetch_started(const std::string& ip) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (Camera* camera = find(ip)) camera->fetch_started = Clock::now();
}

bool FleetState::fetching(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Camera* camera = find(ip);
    return camera && recent(camera->fetch_started);
}

void FleetState::poll_started(const std::string& ip) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (Camera* camera = find(ip)) camera->poll_started = Clock::now();
}

bool FleetState::polling(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Camera* camera = find(ip);
    return camera && recent(camera->poll_started);
}

bool FleetState::any_reboot_pending() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::any_of(cameras_.begin(), cameras_.end(), [](const auto& camera) {
        return camera->reboot_phase == RebootPhase::Restarting &&
               Clock::now() - camera->reboot_accepted_at < kRebootPause;
    });
}

std::vector<PollView> FleetState::poll_views() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<PollView> views;
    views.reserve(cameras_.size());
    for (auto& camera : cameras_) {
        views.push_back(
            {camera->key, camera->answers, camera->follow_ups, recent(camera->fetch_started)});
        camera->follow_ups = {};
    }
    return views;
}

json FleetState::card(const Camera& c) {
    json versions = nullptr;
    std::string name;
    json mode = c.health.is_object() ? c.health["mode"] : json();
    if (c.params.is_object()) {
        name = text_member(c.params, "camera_name");
        versions = {{"ast1220", text_member(c.params, "ast1220_ver")},
                    {"ast1230", text_member(c.params, "ast1230_ver")}};
        if (mode.is_null()) mode = c.params.value("mode", json());
    }
    return {{"ip", c.key.ip},
            {"port", c.key.port},
            {"seq", c.card_seq},
            {"changed_at", c.changed_at},
            {"name", name},
            {"link", c.link},
            {"link_reason", c.link_reason},
            {"link_since", c.link_since},
            {"health", c.health},
            {"mode", mode},
            {"versions", versions},
            {"has_params", c.params.is_object()},
            {"reboot", c.reboot},
            {"update", c.update},
            {"screenshot", c.screenshot_seq},
            {"results", json(c.results)},
            {"log", json(c.log)}};
}

json FleetState::cards() const {
    std::lock_guard<std::mutex> lock(mutex_);
    json list = json::array();
    for (const auto& camera : cameras_) list.push_back(card(*camera));
    return list;
}

std::string FleetState::params_text(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Camera* camera = find(ip);
    return camera ? camera->params_text : "";
}

std::string FleetState::events_since(StreamCursor& cursor) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::string out;
    for (const auto& camera : cameras_) {
        if (camera->card_seq > cursor.seen)
            out += "event: card\ndata: " + dump(card(*camera)) + "\n\n";
        if (camera->params_seq > cursor.seen)
            // The handler's document is JSON already.
            out += "event: params\ndata: {\"ip\":" + dump(camera->key.ip) +
                   ",\"doc\":" + camera->params_text + "}\n\n";
    }
    json lines = json::array();
    for (const auto& [seq, line] : fleet_log_)
        if (seq > cursor.seen) lines.push_back(line);
    if (!lines.empty()) out += "event: log\ndata: " + dump(lines) + "\n\n";
    cursor.seen = seq_;
    return out;
}

bool FleetState::wait_for_change(const StreamCursor& cursor,
                                 std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, timeout, [&] { return closed_ || seq_ > cursor.seen; });
    return !closed_;
}

void FleetState::close() {
    std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
    changed_.notify_all();
}

}  // namespace osconsole
