// Which cameras of a firmware rollout update when: at most `parallel` at a
// time (their uploads share the network), the next one starting as one
// finishes, and none started any more once `stop_after` have failed or the
// operator stopped the rollout. A pure state machine: the rollout runner
// feeds it what happened and calls the handler for the cameras it starts.
#pragma once

#include <string>
#include <vector>

#include "tools/console/camera_state.h"

namespace osconsole {

enum class RolloutStep { Waiting, Running, Done, Failed, NotStarted };

struct RolloutCamera {
    std::string ip;
    RolloutStep step = RolloutStep::Waiting;
    std::string message;  // why it failed or was not started
    Clock::time_point started{};
};

struct RolloutLimits {
    int parallel = 8;
    int stop_after = 3;  // failures
};

// A camera's update that has said nothing for this long has failed: longer
// than the client's own limits for its uploads and the update stream.
inline constexpr auto kRolloutCameraLimit = std::chrono::minutes(45);

class RolloutSchedule {
public:
    RolloutSchedule(const std::vector<std::string>& cameras, RolloutLimits limits);

    // The cameras to start now, marked running. Once the rollout stops, the
    // waiting ones are marked not started instead.
    std::vector<std::string> take_starts(Clock::time_point now);
    // A running camera's update ended (or could not start).
    void finish(const std::string& ip, bool ok, const std::string& message);
    // Running cameras past the limit fail.
    void expire(Clock::time_point now);
    // The operator's stop: running cameras go on, no more start.
    void stop(const std::string& why);

    bool stopping() const { return !stop_reason_.empty(); }
    const std::string& stop_reason() const { return stop_reason_; }
    // Nothing running and nothing left to start.
    bool over() const;
    bool running(const std::string& ip) const;
    int count(RolloutStep step) const;
    const std::vector<RolloutCamera>& cameras() const { return cameras_; }
    const RolloutLimits& limits() const { return limits_; }

private:
    std::vector<RolloutCamera> cameras_;
    RolloutLimits limits_;
    std::string stop_reason_;
};

}  // namespace osconsole
