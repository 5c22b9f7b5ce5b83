// What the console asks the handler for after an input, beyond what the user
// asked: the health poller makes these requests.
#pragma once

#include "tools/console/reducers.h"

namespace osconsole {

// The parts of a camera's state before the input that the policy compares.
struct Before {
    Link link;
    RebootPhase reboot;
};

FollowUps follow_ups_for(const Input& input, const Before& before, const CameraState& after);

// One input applied: the reducer, then the follow-ups the change calls for.
void advance(CameraState& camera, const Input& input, const Moment& now);

}  // namespace osconsole
