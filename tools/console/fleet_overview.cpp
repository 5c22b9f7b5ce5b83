#include "tools/console/fleet_overview.h"

#include <algorithm>
#include <charconv>
#include <tuple>

namespace osconsole {

FleetState fleet_state(const CameraState& c) {
    if (c.link == Link::NotAnswering) return FleetState::NotAnswering;
    if (c.update.stage == UpdateStage::Queued || c.update.stage == UpdateStage::Running)
        return FleetState::Updating;
    if (c.reboot.phase == RebootPhase::Requested || c.reboot.phase == RebootPhase::Restarting)
        return FleetState::Rebooting;
    return c.link == Link::Online ? FleetState::Answering : FleetState::Waiting;
}

namespace {

// The latest failure since the camera last came online that no success of
// the same command followed; failures while it was away are its link's.
const ResultEntry* standing_failure(const CameraState& c) {
    const auto key = [](const ResultEntry& r) { return r.command.empty() ? r.request : r.command; };
    for (auto it = c.results.rbegin(); it != c.results.rend() && it->at >= c.link_since; ++it) {
        if (it->ok) continue;
        const bool redone = std::any_of(c.results.rbegin(), it, [&](const ResultEntry& later) {
            return later.ok && key(later) == key(*it);
        });
        if (!redone) return &*it;
    }
    return nullptr;
}

std::string failure_text(const ResultEntry& r) {
    std::string text = (r.command.empty() ? r.request : r.command) + " failed";
    if (!r.message.empty()) text += ": " + r.message;
    if (!r.cause.empty() && r.cause != r.message) text += " (" + r.cause + ")";
    return text;
}

// Dotted quads sort by number, before any other address (by its text).
using AddressKey = std::tuple<bool, std::array<int, 4>, std::string>;

AddressKey address_key(const std::string& ip) {
    std::array<int, 4> parts{};
    const char* at = ip.data();
    const char* const end = ip.data() + ip.size();
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0 && (at == end || *at++ != '.')) return {true, {}, ip};
        const auto [next, error] = std::from_chars(at, end, parts[i]);
        if (error != std::errc()) return {true, {}, ip};
        at = next;
    }
    if (at != end) return {true, {}, ip};
    return {false, parts, ip};
}

}  // namespace

CameraStatus camera_status(const CameraState& c, WallMs now) {
    CameraStatus status{fleet_state(c), Concern::None, ""};
    const RebootStep* reboot_step = c.reboot.steps.empty() ? nullptr : &c.reboot.steps.front();
    if (c.link == Link::NotAnswering) {
        status = {status.state, Concern::NotAnswering, "not answering: " + c.link_reason};
    } else if (c.update.stage == UpdateStage::Failed) {
        status.concern = Concern::UpdateFailed;
        status.reason = "update failed: " + c.update.text;
    } else if (status.state == FleetState::Rebooting && reboot_step &&
               now - reboot_step->at > kRebootBackLimitMs) {
        status.concern = Concern::RebootNotBack;
        status.reason =
            "reboot not back after " + std::to_string(kRebootBackLimitMs / 60000) + " minutes";
    } else if (c.reboot.phase == RebootPhase::Failed && c.reboot.steps.back().at >= c.link_since) {
        status = {status.state, Concern::FailedCommand, "the camera refused the reboot"};
    } else if (const ResultEntry* failure = standing_failure(c)) {
        status = {status.state, Concern::FailedCommand, failure_text(*failure)};
    } else if (status.state == FleetState::Updating) {
        status.concern = Concern::Updating;
        status.reason = "updating: " + std::to_string(c.update.percent) + " %";
    } else if (status.state == FleetState::Rebooting) {
        status = {status.state, Concern::Rebooting, "rebooting, not back yet"};
    }
    return status;
}

const char* state_text(FleetState state) {
    static const char* const kTexts[kFleetStates] = {"not heard yet", "answering", "not answering",
                                                     "rebooting", "updating"};
    return kTexts[static_cast<std::size_t>(state)];
}

const char* concern_text(Concern concern) {
    static const char* const kTexts[] = {"",
                                         "reboot not back yet",
                                         "update running",
                                         "failed command",
                                         "reboot not back",
                                         "failed update",
                                         "not answering"};
    return kTexts[static_cast<std::size_t>(concern)];
}

FleetSummary summarize(const std::vector<CameraOverview>& cameras) {
    FleetSummary summary;
    for (const CameraOverview& camera : cameras) {
        ++summary.counts[static_cast<std::size_t>(camera.status.state)];
        if (camera.status.concern != Concern::None) ++summary.attention;
    }
    std::vector<std::pair<int, AddressKey>> keys;
    keys.reserve(cameras.size());
    for (const CameraOverview& camera : cameras)
        keys.emplace_back(-static_cast<int>(camera.status.concern), address_key(camera.ip));
    std::sort(keys.begin(), keys.end());
    for (auto& key : keys) summary.order.push_back(std::move(std::get<2>(key.second)));
    return summary;
}

}  // namespace osconsole
