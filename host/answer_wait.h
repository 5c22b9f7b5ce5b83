// Waiting for one camera's answer after calling an operation: what one-shot
// hosts do. A wait ends with the event wanted, with the first failure the
// camera reports before it, or after the camera has been silent too long.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "event_log.h"

namespace oschost {

enum class WaitEnd { Arrived, Failed, Silent };

struct Awaited {
    WaitEnd end = WaitEnd::Silent;
    std::optional<Event> event;  // what arrived, or the failure; nothing when silent
};

class CameraWait {
public:
    // `silence`: how long the camera may stay silent; each of its answers
    // starts that time again. Events before `cursor` are past.
    CameraWait(EventLog& log, std::string ip, std::chrono::milliseconds silence,
               std::size_t cursor = 0)
        : log_(log), ip_(std::move(ip)), silence_(silence), cursor_(cursor) {}

    // The first event of this camera that `wanted` accepts.
    Awaited until(const EventMatch& wanted);
    // The result of the exported operation `command`.
    Awaited result(const std::string& command);
    // The camera's answer to the request queued as `request`, for operations
    // whose answer the handler reports under no name.
    Awaited answer_to(const std::string& request);
    // The next event of one kind (ParamsReport, HealthReport...).
    template <class Kind>
    Awaited next() {
        return until([](const Event& e) { return std::holds_alternative<Kind>(e); });
    }

    std::size_t cursor() const { return cursor_; }

private:
    EventLog& log_;
    std::string ip_;
    std::chrono::milliseconds silence_;
    std::size_t cursor_;
};

}  // namespace oschost
