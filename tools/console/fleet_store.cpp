#include "tools/console/fleet_store.h"

#include <algorithm>
#include <cmath>

#include "tools/console/follow_up_policy.h"

namespace osconsole {

namespace {

// The handler's events that change a camera's card.
std::optional<Input> as_input(const oschost::Event& event) {
    return std::visit(
        [](const auto& e) -> std::optional<Input> {
            using Kind = std::decay_t<decltype(e)>;
            if constexpr (std::is_constructible_v<Input, Kind>)
                return Input(e);
            else if constexpr (std::is_same_v<Kind, oschost::ParamsReport>)
                // Parsed before the lock is taken.
                return ParamsArrived{ParamsDocument::parse(e.document)};
            else
                return std::nullopt;
        },
        event);
}

// Whether an input can change what the page shows of the camera: log lines
// and the poller's marks cannot, nor an answer or a health report that says
// what the camera said before (most of the fleet's traffic when it is idle).
bool changes_row(const CameraState& c, const Input& input) {
    if (std::holds_alternative<oschost::LogLine>(input) ||
        std::holds_alternative<PollStarted>(input) || std::holds_alternative<FetchStarted>(input))
        return false;
    if (const auto* h = std::get_if<oschost::HealthReport>(&input)) {
        const std::optional<Health>& was = c.health;
        // The page shows the percentages whole.
        const auto whole = [](float percent) { return std::lround(percent); };
        return !was || was->process_ok != h->process_ok ||
               whole(was->cpu_usage) != whole(h->cpu_usage) ||
               whole(was->memory_usage) != whole(h->memory_usage) ||
               was->in_preview != h->in_preview || was->mode != h->mode;
    }
    if (std::holds_alternative<oschost::RequestAnswered>(input))
        return c.link != Link::Online || c.reboot.phase == RebootPhase::Restarting;
    return true;
}

}  // namespace

FleetStore::Entry* FleetStore::find(const std::string& ip) {
    for (auto& entry : cameras_)
        if (entry->state.address.ip == ip) return entry.get();
    return nullptr;
}

const FleetStore::Entry* FleetStore::find(const std::string& ip) const {
    return const_cast<FleetStore*>(this)->find(ip);
}

bool FleetStore::add_camera(const oschost::CameraAddress& address) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (find(address.ip) || cameras_.size() >= static_cast<std::size_t>(osc_texts::kMaxCameras))
        return false;
    auto entry = std::make_unique<Entry>();
    entry->state.address = address;
    entry->state.link_since = Moment::now().wall;
    entry->seq = entry->shown_seq = shown_seq_ = ++seq_;
    cameras_.push_back(std::move(entry));
    changed_.notify_all();
    return true;
}

std::size_t FleetStore::size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return cameras_.size();
}

void FleetStore::on_event(const oschost::Event& event) {
    std::optional<Input> input = as_input(event);
    if (!input) return;
    if (const auto* params = std::get_if<ParamsArrived>(&*input); params && !params->document)
        return;
    const Moment now = Moment::now();
    std::lock_guard<std::mutex> lock(mutex_);
    if (Entry* entry = find(oschost::camera_of(event))) {
        apply_locked(*entry, *input, now);
    } else if (const auto* line = std::get_if<oschost::LogLine>(&*input)) {
        fleet_log_.emplace_back(shown_seq_ = ++seq_, line->text);
        while (fleet_log_.size() > kFleetLog) fleet_log_.pop_front();
        changed_.notify_all();
    }
}

void FleetStore::apply(const std::string& ip, const Input& input) {
    const Moment now = Moment::now();
    std::lock_guard<std::mutex> lock(mutex_);
    if (Entry* entry = find(ip)) apply_locked(*entry, input, now);
}

void FleetStore::apply_locked(Entry& entry, const Input& input, const Moment& now) {
    const bool shown = changes_row(entry.state, input);
    advance(entry.state, input, now);
    entry.seq = ++seq_;
    if (std::holds_alternative<ParamsArrived>(input)) entry.params_seq = entry.seq;
    if (!shown) return;
    entry.shown_seq = shown_seq_ = entry.seq;
    entry.changed_at = now.wall;
    changed_.notify_all();
}

std::optional<ActionView> FleetStore::action_view(const std::string& ip) const {
    const auto now = Clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    const Entry* entry = find(ip);
    if (!entry) return std::nullopt;
    const CameraState& c = entry->state;
    return ActionView{c.address, c.params, fetching(c, now), polling(c, now)};
}

std::optional<oschost::CameraAddress> FleetStore::address_of(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Entry* entry = find(ip);
    if (!entry) return std::nullopt;
    return entry->state.address;
}

std::vector<PollView> FleetStore::poll_views() {
    const auto now = Clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<PollView> views;
    views.reserve(cameras_.size());
    for (auto& entry : cameras_) {
        CameraState& c = entry->state;
        const bool quiet = c.link == Link::Online && c.params && !fetching(c, now) &&
                           fleet_state(c) == FleetState::Answering;
        views.push_back({c.address, c.answers, c.follow_ups, fetching(c, now), quiet,
                         c.poll_started.has_value(), c.link == Link::NotAnswering});
        c.follow_ups = {};
    }
    return views;
}

Changes FleetStore::changes_since(std::uint64_t seen) const {
    std::lock_guard<std::mutex> lock(mutex_);
    Changes changes;
    for (const auto& entry : cameras_)
        if (entry->shown_seq > seen) changes.cameras.push_back(copy_of(*entry, seen));
    for (const auto& [seq, line] : fleet_log_)
        if (seq > seen) changes.fleet_log.push_back(line);
    changes.seq = seq_;
    return changes;
}

CameraCopy FleetStore::copy_of(const Entry& entry, std::uint64_t seen) {
    return {entry.state, entry.seq, entry.params_seq, entry.changed_at, entry.params_seq > seen};
}

std::optional<CameraCopy> FleetStore::camera(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Entry* entry = find(ip);
    if (!entry) return std::nullopt;
    return copy_of(*entry, 0);
}

std::vector<CameraOverview> FleetStore::overview(WallMs now) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<CameraOverview> cameras;
    cameras.reserve(cameras_.size());
    for (const auto& entry : cameras_)
        cameras.push_back({entry->state.address.ip, camera_status(entry->state, now)});
    return cameras;
}

std::shared_ptr<const std::string> FleetStore::thumbnail(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Entry* entry = find(ip);
    return entry ? entry->state.thumbnail : nullptr;
}

std::shared_ptr<const ParamsDocument> FleetStore::params(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Entry* entry = find(ip);
    return entry ? entry->state.params : nullptr;
}

std::shared_ptr<const std::string> FleetStore::screenshot(const std::string& ip) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const Entry* entry = find(ip);
    return entry ? entry->state.screenshot : nullptr;
}

bool FleetStore::wait_for_change(std::uint64_t seen, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, timeout, [&] { return closed_ || shown_seq_ > seen; });
    return !closed_;
}

std::uint64_t FleetStore::shown_seq() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return shown_seq_;
}

void FleetStore::touch() {
    std::lock_guard<std::mutex> lock(mutex_);
    shown_seq_ = ++seq_;
    changed_.notify_all();
}

void FleetStore::close() {
    std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
    changed_.notify_all();
}

}  // namespace osconsole
