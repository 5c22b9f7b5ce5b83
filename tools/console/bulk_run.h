// One bulk action over a selection of cameras, as bookkeeping: each camera's
// steps (one per operation: a copy of settings has several), each pending,
// waiting to be tried again, done or failed with the reason. Pure functions
// of the run and its inputs; RunBook (run_book.h) holds the runs and calls
// the handler.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/events.h"
#include "tools/console/camera_actions.h"

namespace osconsole {

enum class StepState { Pending, Waiting, Done, Failed };

struct RunStep {
    ActionRequest request;
    std::string operation;  // what its result comes under
    StepState state = StepState::Pending;
    std::string message;        // why it failed or waits
    Clock::time_point since{};  // queued, or first refused as busy
    Clock::time_point tried{};  // last tried
};

struct RunCamera {
    std::string ip;
    std::vector<RunStep> steps;
};

struct BulkRun {
    std::uint64_t id = 0;
    std::string title;  // "brightness 60", "copy settings from 127.0.0.1"
    WallMs started = 0;
    std::vector<RunCamera> cameras;
};

// A step refused as busy (409) is tried again this often, for this long.
inline constexpr auto kRetryEvery = std::chrono::milliseconds(500);
inline constexpr auto kRetryFor = std::chrono::seconds(20);
// A queued step whose result has not come in this long has lost it.
inline constexpr auto kResultLimit = std::chrono::seconds(90);

// Before the step is performed: what its result will come under.
void mark_started(RunStep& step, Clock::time_point now);
// What performing it gave.
void note_outcome(RunStep& step, const ActionOutcome& outcome, Clock::time_point now);

enum class EventUse { None, Used, UsedUp };
// Settles the first pending step of `ip` the event ends. UsedUp: the event
// answered that step's own command and ends no other.
EventUse note_event(BulkRun& run, const std::string& ip, const oschost::Event& event);

// Steps to try again now (waiting, due), as (camera, step) indexes; steps
// waiting or pending past their limits fail. True when anything failed.
bool expire(BulkRun& run, Clock::time_point now);
std::vector<std::pair<std::size_t, std::size_t>> due_retries(const BulkRun& run,
                                                             Clock::time_point now);

struct RunCounts {
    int pending = 0;  // cameras with a step pending or waiting
    int done = 0;     // cameras with every step done
    int failed = 0;   // cameras with a failed step
};
StepState outcome_of(const RunCamera& camera);
RunCounts count(const BulkRun& run);

}  // namespace osconsole
