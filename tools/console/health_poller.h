// Keeps the cards current between actions: fetches each camera's parameter
// document once, makes the follow-up requests the follow-up policy asks for
// (follow_up_policy.h: a document after a change, after a reboot, ...), and asks every camera for
// its health at a steady pace, spread over the period. A camera whose
// last poll is still unanswered (asleep after a reboot, or silent) gets no
// new one, so nothing piles up in the handler's queues. With a picture
// period, each quiet camera also takes a screenshot that often for the
// fleet view's thumbnails, the cameras spread over the period.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "tools/console/fleet_store.h"

namespace osconsole {

class HealthPoller {
public:
    // A zero `picture_period` takes no pictures.
    HealthPoller(FleetStore& store, std::chrono::milliseconds period,
                 std::chrono::milliseconds picture_period = std::chrono::milliseconds(0));
    ~HealthPoller();
    HealthPoller(const HealthPoller&) = delete;
    HealthPoller& operator=(const HealthPoller&) = delete;

    void stop();

private:
    struct Pace {
        Clock::time_point next_poll;
        Clock::time_point last_poll;
        Clock::time_point next_picture;
        std::uint64_t answers_at_poll = 0;
        bool polled = false;
    };

    void run();
    void visit(const PollView& camera, std::size_t index, std::size_t count);
    void take_picture(const PollView& camera, Pace& pace, Clock::time_point now);

    FleetStore& store_;
    const std::chrono::milliseconds period_;
    const std::chrono::milliseconds picture_period_;
    std::map<std::string, Pace> pace_;  // poller thread only
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace osconsole
