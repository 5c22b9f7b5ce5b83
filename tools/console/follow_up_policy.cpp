#include "tools/console/follow_up_policy.h"

#include "host/settings_table.h"

namespace osconsole {

namespace {

bool is_setting(const std::string& command) {
    for (const oschost::Setting& setting : oschost::settings())
        if (command == setting.command) return true;
    return false;
}

}  // namespace

FollowUps follow_ups_for(const Input& input, const Before& before, const CameraState& after) {
    FollowUps next;
    // The handler forgets a camera's parameters when it stops answering, and
    // a camera comes back from a reboot with its saved settings.
    next.refetch =
        (before.link == Link::NotAnswering && after.link == Link::Online) ||
        (before.reboot == RebootPhase::Restarting && after.reboot.phase == RebootPhase::Back);
    if (const auto* result = std::get_if<oschost::CommandResult>(&input)) {
        // The next document shows what became of a change: the handler's
        // record holds it once accepted; a refused one is read back.
        if (is_setting(result->command) && !result->no_answer()) {
            next.report = result->ok;
            next.refetch |= !result->ok;
            next.roi = result->ok && result->command == "SetMode";
        }
        next.report |= result->ok && result->command == "GetROI";
    }
    if (const auto* progress = std::get_if<oschost::FirmwareProgress>(&input))
        next.versions = progress->finished;
    return next;
}

void advance(CameraState& camera, const Input& input, const Moment& now) {
    const Before before{camera.link, camera.reboot.phase};
    reduce(camera, input, now);
    camera.follow_ups |= follow_ups_for(input, before, camera);
}

}  // namespace osconsole
