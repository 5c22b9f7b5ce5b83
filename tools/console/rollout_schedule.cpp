#include "tools/console/rollout_schedule.h"

#include <algorithm>

namespace osconsole {

RolloutSchedule::RolloutSchedule(const std::vector<std::string>& cameras, RolloutLimits limits)
    : limits_(limits) {
    for (const std::string& ip : cameras) cameras_.push_back({ip, RolloutStep::Waiting, "", {}});
}

std::vector<std::string> RolloutSchedule::take_starts(Clock::time_point now) {
    std::vector<std::string> starts;
    int running = count(RolloutStep::Running);
    for (RolloutCamera& camera : cameras_) {
        if (camera.step != RolloutStep::Waiting) continue;
        if (stopping()) {
            camera.step = RolloutStep::NotStarted;
            camera.message = "not started: " + stop_reason_;
        } else if (running < limits_.parallel) {
            camera.step = RolloutStep::Running;
            camera.started = now;
            starts.push_back(camera.ip);
            ++running;
        }
    }
    return starts;
}

void RolloutSchedule::finish(const std::string& ip, bool ok, const std::string& message) {
    for (RolloutCamera& camera : cameras_) {
        if (camera.ip != ip || camera.step != RolloutStep::Running) continue;
        camera.step = ok ? RolloutStep::Done : RolloutStep::Failed;
        camera.message = message;
    }
    const int failures = count(RolloutStep::Failed);
    if (!stopping() && failures >= limits_.stop_after)
        stop_reason_ = "stopped after " + std::to_string(failures) + " failed cameras";
}

void RolloutSchedule::expire(Clock::time_point now) {
    for (const RolloutCamera& camera : std::vector<RolloutCamera>(cameras_))
        if (camera.step == RolloutStep::Running && now - camera.started > kRolloutCameraLimit)
            finish(camera.ip, false,
                   "no end of its update within " +
                       std::to_string(
                           std::chrono::duration_cast<std::chrono::minutes>(kRolloutCameraLimit)
                               .count()) +
                       " minutes");
}

void RolloutSchedule::stop(const std::string& why) {
    if (!stopping()) stop_reason_ = why;
}

bool RolloutSchedule::over() const {
    return count(RolloutStep::Running) == 0 && (stopping() || count(RolloutStep::Waiting) == 0);
}

bool RolloutSchedule::running(const std::string& ip) const {
    return std::any_of(cameras_.begin(), cameras_.end(), [&](const RolloutCamera& c) {
        return c.ip == ip && c.step == RolloutStep::Running;
    });
}

int RolloutSchedule::count(RolloutStep step) const {
    return static_cast<int>(std::count_if(cameras_.begin(), cameras_.end(),
                                          [&](const RolloutCamera& c) { return c.step == step; }));
}

}  // namespace osconsole
