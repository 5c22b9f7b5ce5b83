#include "tools/console/bulk_run.h"

#include "tools/console/operation_results.h"

namespace osconsole {

namespace {

bool open(const RunStep& step) {
    return step.state == StepState::Pending || step.state == StepState::Waiting;
}

}  // namespace

void mark_started(RunStep& step, Clock::time_point now) {
    step.operation = operation_of(step.request);
    step.state = StepState::Pending;
    step.tried = now;
    if (step.since == Clock::time_point{}) step.since = now;
}

void note_outcome(RunStep& step, const ActionOutcome& outcome, Clock::time_point now) {
    if (outcome.queued()) {
        // A result may have settled it already, on another thread.
        if (step.state == StepState::Waiting) step.state = StepState::Pending;
        step.since = now;
        return;
    }
    step.state = outcome.status == 409 ? StepState::Waiting : StepState::Failed;
    step.message = outcome.message;
}

EventUse note_event(BulkRun& run, const std::string& ip, const oschost::Event& event) {
    EventUse use = EventUse::None;
    for (RunCamera& camera : run.cameras) {
        if (camera.ip != ip) continue;
        for (RunStep& step : camera.steps) {
            if (step.state != StepState::Pending) continue;
            const auto settled = settles(step.operation, event);
            if (!settled) continue;
            step.state = settled->ok ? StepState::Done : StepState::Failed;
            step.message = settled->message;
            const auto* result = std::get_if<oschost::CommandResult>(&event);
            // Its own answer ends one step; a dropped queue ends them all.
            if (!result || result->command == step.operation) return EventUse::UsedUp;
            use = EventUse::Used;
        }
    }
    return use;
}

bool expire(BulkRun& run, Clock::time_point now) {
    bool failed = false;
    for (RunCamera& camera : run.cameras) {
        for (RunStep& step : camera.steps) {
            const bool waited_out =
                step.state == StepState::Waiting && now - step.since > kRetryFor;
            const bool lost = step.state == StepState::Pending && now - step.since > kResultLimit;
            if (!waited_out && !lost) continue;
            if (lost)
                step.message =
                    "no result within " +
                    std::to_string(
                        std::chrono::duration_cast<std::chrono::seconds>(kResultLimit).count()) +
                    " s";
            step.state = StepState::Failed;
            failed = true;
        }
    }
    return failed;
}

std::vector<std::pair<std::size_t, std::size_t>> due_retries(const BulkRun& run,
                                                             Clock::time_point now) {
    std::vector<std::pair<std::size_t, std::size_t>> due;
    for (std::size_t c = 0; c < run.cameras.size(); ++c)
        for (std::size_t s = 0; s < run.cameras[c].steps.size(); ++s) {
            const RunStep& step = run.cameras[c].steps[s];
            if (step.state == StepState::Waiting && now - step.tried >= kRetryEvery)
                due.emplace_back(c, s);
        }
    return due;
}

StepState outcome_of(const RunCamera& camera) {
    bool pending = false;
    for (const RunStep& step : camera.steps) {
        if (step.state == StepState::Failed) return StepState::Failed;
        pending |= open(step);
    }
    return pending ? StepState::Pending : StepState::Done;
}

RunCounts count(const BulkRun& run) {
    RunCounts counts;
    for (const RunCamera& camera : run.cameras) {
        const StepState state = outcome_of(camera);
        ++(state == StepState::Failed ? counts.failed
           : state == StepState::Done ? counts.done
                                      : counts.pending);
    }
    return counts;
}

}  // namespace osconsole
