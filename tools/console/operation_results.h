// Which of the handler's events ends an operation the console queued for a
// camera, and how: the one rule bulk runs and rollouts both follow.
#pragma once

#include <optional>
#include <string>

#include "host/events.h"

namespace osconsole {

struct Settled {
    bool ok = false;
    std::string message;  // why it failed; empty when done
};

// `event` concerns the camera `operation` was queued for. Nothing when the
// event says nothing about it.
std::optional<Settled> settles(const std::string& operation, const oschost::Event& event);

}  // namespace osconsole
