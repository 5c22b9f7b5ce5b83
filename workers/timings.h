// Every pause and poll interval of the camera workers, in one place.
#pragma once

#include <chrono>

struct WorkerTimings {
    std::chrono::milliseconds pass{100};            // one worker pass
    std::chrono::milliseconds gate{5000};           // longest wait for an answer
    std::chrono::milliseconds reboot_pause{40000};  // camera restarting
    std::chrono::milliseconds ports_pause{2000};    // camera rebinding its ports
    std::chrono::milliseconds syslog_pause{2000};   // camera switching log server
    std::chrono::milliseconds start_poll{5};        // waiting for a new worker
};

// The timings a handler takes at construction.
WorkerTimings worker_timings();

namespace testing_hooks {
// Tests shorten the pauses; handlers built afterwards use the new values.
void set_worker_timings(const WorkerTimings& timings);
void reset_worker_timings();
}  // namespace testing_hooks
