// The console's rules as pure functions: the reducers and follow-up policy
// (each row feeds a fresh camera a sequence of inputs and reads what its
// state became), what needs attention and the fleet's order, bulk runs
// settled by the handler's events, and the rollout's schedule.
#include <gtest/gtest.h>

#include "tools/console/bulk_run.h"
#include "tools/console/firmware_upload.h"
#include "tools/console/fleet_plans.h"
#include "tools/console/fleet_store.h"
#include "tools/console/follow_up_policy.h"
#include "tools/console/rollout_schedule.h"

namespace osconsole {
namespace {

using oschost::CommandResult;
using oschost::RequestAnswered;
using oschost::RequestFailure;

const char* const kLinks[] = {"unknown", "online", "not answering"};
const char* const kPhases[] = {"none", "requested", "restarting", "back", "failed"};
const char* const kStages[] = {"none", "queued", "running", "done", "failed"};

std::string describe(const CameraState& c) {
    std::string text = std::string(kLinks[static_cast<int>(c.link)]);
    if (!c.link_reason.empty()) text += " (" + c.link_reason + ")";
    text += std::string(" reboot ") + kPhases[static_cast<int>(c.reboot.phase)] + "/" +
            std::to_string(c.reboot.steps.size());
    text += std::string(" update ") + kStages[static_cast<int>(c.update.stage)] + ":" +
            std::to_string(c.update.percent);
    for (const auto& [command, since] : c.pending) text += " pending " + command;
    if (!c.results.empty()) {
        const ResultEntry& last = c.results.back();
        text += " last " + (last.command.empty() ? last.request : last.command) +
                (last.ok ? " ok" : " failed");
    }
    const FollowUps& f = c.follow_ups;
    text += std::string(" then") + (f.refetch ? " refetch" : "") + (f.report ? " report" : "") +
            (f.roi ? " roi" : "") + (f.versions ? " versions" : "");
    return text;
}

CommandResult failed(const char* command, const char* request, const char* reason,
                     const char* cause = "") {
    return {"127.0.0.1", command, false, reason, RequestFailure{request, reason, cause}};
}
CommandResult ok(const char* command) {
    return {"127.0.0.1", command, true, "", std::nullopt};
}
const CommandResult kNoAnswer =
    failed("", "GetEthernetSettings", osc_texts::kRequestException, "connection refused");

struct Row {
    const char* name;
    std::vector<Input> inputs;
    const char* state;
};

TEST(Reducers, EachInputSequenceLeavesTheCameraInItsState) {
    const Row rows[] = {
        {"a setting the camera took is reported from the record",
         {ActionQueued{"SetBrightness"}, RequestAnswered{"", "SetBrightness"}, ok("SetBrightness")},
         "online reboot none/0 update none:0 last SetBrightness ok then report"},
        {"a refused setting is read back from the camera",
         {failed("SetContrast", "SetContrast", "out of range")},
         "online reboot none/0 update none:0 last SetContrast failed then refetch"},
        {"a mode change also reads the layout",
         {ok("SetMode")},
         "unknown reboot none/0 update none:0 last SetMode ok then report roi"},
        {"a layout report shows in the next document",
         {ok("GetROI")},
         "unknown reboot none/0 update none:0 last GetROI ok then report"},
        {"no answer: the link is lost and the queue with it",
         {ActionQueued{"StartStreaming"}, FetchStarted{}, kNoAnswer},
         "not answering (GetEthernetSettings failed: connection refused) reboot none/0 update "
         "none:0 last GetEthernetSettings failed then"},
        {"an answer after the silence fetches everything again",
         {kNoAnswer, RequestAnswered{"", "GetCameraState"}},
         "online reboot none/0 update none:0 last GetEthernetSettings failed then refetch"},
        {"a reboot requested, accepted and back",
         {ActionQueued{"RebootCamera"}, RequestAnswered{"", "Reboot"},
          oschost::RebootState{"", true, std::nullopt}, RequestAnswered{"", "GetCameraState"}},
         "online reboot back/3 update none:0 then refetch"},
        {"a refused reboot",
         {ActionQueued{"RebootCamera"}, oschost::RebootState{"", false, std::nullopt}},
         "unknown reboot failed/2 update none:0 then"},
        {"a firmware update to its end asks for the versions",
         {ActionQueued{"Update1220Firmware"}, oschost::FirmwareUpload{"", true},
          oschost::FirmwareProgress{"", "writing", 40, false},
          oschost::FirmwareProgress{"", "end", 100, true}},
         "unknown reboot none/0 update done:100 last upload ok then versions"},
        {"a failed firmware update",
         {ActionQueued{"UpdateFirmwareAll"}, oschost::FirmwareProgress{"", "writing", 40, false},
          failed("UpdateFirmwareAll", "Update1230_7261", "HW version too old.")},
         "online reboot none/0 update failed:40 last UpdateFirmwareAll failed then"},
        {"an answer the handler could not use",
         {oschost::AnswerUnusable{"", "GetCameraState", "type_error"}},
         "online reboot none/0 update none:0 last GetCameraState failed then"},
    };
    for (const Row& row : rows) {
        CameraState camera;
        Moment now{};
        for (const Input& input : row.inputs) {
            now.steady += std::chrono::seconds(1);
            advance(camera, input, now);
        }
        EXPECT_EQ(describe(camera), row.state) << row.name;
    }
}

// The handler also reports on cameras the console does not show: those past
// its 99 cards, or ones another part of the host drives through the handler.
TEST(FleetStore, EventsForACameraWithoutACardChangeNothing) {
    FleetStore store;
    ASSERT_TRUE(store.add_camera({"127.0.0.1", 8080}));
    const std::uint64_t seq = store.changes_since(0).seq;
    const std::string other = "127.0.0.79";
    store.on_event(oschost::ParamsReport{other, R"({"brightness_current":1})"});
    store.on_event(oschost::CommandResult{other, "SetBrightness", true, "", std::nullopt});
    store.on_event(oschost::HealthReport{other, true, 1, 2, true, 1});
    store.apply(other, ScreenshotStored{std::make_shared<const std::string>("picture"), nullptr});
    EXPECT_TRUE(store.changes_since(seq).cameras.empty());
    EXPECT_FALSE(store.screenshot(other));
    EXPECT_FALSE(store.params(other));
}

CameraState camera_after(const std::vector<Input>& inputs, WallMs start) {
    CameraState camera;
    Moment now{{}, start};
    for (const Input& input : inputs) {
        now.wall += 1000;
        advance(camera, input, now);
    }
    return camera;
}

TEST(FleetRules, CamerasThatNeedTheOperatorComeFirstThenByAddress) {
    constexpr WallMs kNow = 60 * 60 * 1000;
    const Input answer = RequestAnswered{"", "GetCameraState"};
    struct Camera {
        const char* ip;
        std::vector<Input> inputs;
        WallMs at;
        const char* status;
    } cameras[] = {
        {"127.0.0.10",
         {kNoAnswer},
         0,
         "not answering: not answering: GetEthernetSettings failed: connection refused"},
        {"127.0.0.1", {kNoAnswer, answer}, 0, "answering"},
        {"127.0.0.2",
         {answer, failed("SetContrast", "SetContrast", "out of range")},
         0,
         "answering: SetContrast failed: out of range"},
        {"127.0.0.3", {answer, failed("SetContrast", "", "x"), ok("SetContrast")}, 0, "answering"},
        {"127.0.0.4",
         {answer, ActionQueued{"UpdateFirmwareAll"},
          failed("", "UpdateFWAll", "File not found: a.bin")},
         kNow,
         "answering: update failed: File not found: a.bin"},
        {"127.0.0.5",
         {answer, ActionQueued{"Update1230Firmware"},
          failed("UpdateFirmwareAll", "Update1230_7261", "HW version too old.")},
         kNow,
         "answering: update failed: HW version too old."},
        {"127.0.0.6",
         {answer, ActionQueued{"Update1220Firmware"},
          oschost::FirmwareProgress{"", "w", 40, false}},
         kNow,
         "updating: updating: 40 %"},
        {"127.0.0.7",
         {answer, ActionQueued{"RebootCamera"}},
         0,
         "rebooting: reboot not back after 3 minutes"},
        {"127.0.0.8",
         {answer, ActionQueued{"RebootCamera"}},
         kNow,
         "rebooting: rebooting, not back yet"},
        {"127.0.0.9", {}, 0, "not heard yet"},
    };
    std::vector<CameraOverview> overview;
    for (const Camera& c : cameras) {
        const CameraStatus status = camera_status(camera_after(c.inputs, c.at), kNow);
        EXPECT_EQ(std::string(state_text(status.state)) +
                      (status.reason.empty() ? "" : ": " + status.reason),
                  c.status)
            << c.ip;
        overview.push_back({c.ip, status});
    }
    const FleetSummary summary = summarize(overview);
    std::string order;
    for (const std::string& ip : summary.order) order += ip.substr(8) + " ";
    EXPECT_EQ(order, "10 4 5 7 2 6 8 1 3 9 ");
    EXPECT_EQ(summary.attention, 7);
    EXPECT_EQ(summary.counts, (std::array<int, kFleetStates>{1, 5, 1, 2, 1}));
}

std::string describe(const BulkRun& run) {
    const char* const states[] = {"pending", "waiting", "done", "failed"};
    std::string text;
    for (const RunCamera& camera : run.cameras) {
        const RunStep& step = camera.steps.front();
        text += camera.ip.substr(8) + ":" + states[static_cast<int>(step.state)] +
                (step.state == StepState::Failed ? "(" + step.message + ")" : "") + " ";
    }
    const RunCounts counts = count(run);
    return text + std::to_string(counts.pending) + "/" + std::to_string(counts.done) + "/" +
           std::to_string(counts.failed);
}

TEST(FleetRules, EachCameraOfABulkRunIsSettledByItsOwnResult) {
    const auto t0 = Clock::time_point{} + std::chrono::hours(1);
    BulkRun run{1, "brightness 60", 0, {}};
    for (const char* ip : {"127.0.0.1", "127.0.0.2", "127.0.0.3", "127.0.0.4"}) {
        RunStep step;
        step.request = {"brightness", 60};
        mark_started(step, t0);
        note_outcome(step, {202, "", "SetBrightness"}, t0);
        run.cameras.push_back({ip, {step}});
    }
    note_outcome(run.cameras[3].steps[0], {409, "busy", ""}, t0);
    EXPECT_EQ(run.cameras[0].steps[0].operation, "SetBrightness");
    EXPECT_TRUE(due_retries(run, t0).empty());
    EXPECT_EQ(due_retries(run, t0 + kRetryEvery).size(), 1u);

    const struct {
        const char* ip;
        oschost::Event event;
        const char* run;
    } rows[] = {
        {"127.0.0.1", ok("SetBrightness"), "1:done 2:pending 3:pending 4:waiting 3/1/0"},
        {"127.0.0.2", ok("SetContrast"), "1:done 2:pending 3:pending 4:waiting 3/1/0"},
        {"127.0.0.2", oschost::RebootState{"", true, std::nullopt},
         "1:done 2:pending 3:pending 4:waiting 3/1/0"},
        {"127.0.0.2", kNoAnswer,
         "1:done 2:failed(not answering: connection refused) 3:pending 4:waiting 2/1/1"},
        {"127.0.0.3", failed("SetBrightness", "SetBrightness", "busy camera"),
         "1:done 2:failed(not answering: connection refused) 3:failed(busy camera) 4:waiting "
         "1/1/2"},
    };
    for (const auto& row : rows) {
        note_event(run, row.ip, row.event);
        EXPECT_EQ(describe(run), row.run) << row.ip;
    }
    EXPECT_FALSE(expire(run, t0 + kRetryFor));
    EXPECT_TRUE(expire(run, t0 + kRetryFor + std::chrono::seconds(1)));
    EXPECT_EQ(count(run).failed, 3);
    // A result that came before its step's outcome (on another thread) stands.
    note_outcome(run.cameras[0].steps[0], {202, "", "SetBrightness"}, t0);
    EXPECT_EQ(outcome_of(run.cameras[0]), StepState::Done);
}

TEST(FleetRules, ARolloutRunsAtMostNAtATimeAndStopsAfterKFailures) {
    RolloutSchedule schedule({"a", "b", "c", "d", "e"}, {2, 2});
    const auto describe = [&](const std::vector<std::string>& started) {
        const char* const steps[] = {"waiting", "running", "done", "failed", "not started"};
        std::string text;
        for (const std::string& ip : started) text += "+" + ip;
        for (const RolloutCamera& c : schedule.cameras())
            text += " " + c.ip + ":" + steps[static_cast<int>(c.step)];
        return text + (schedule.over() ? " over" : "");
    };
    const struct {
        const char* finished;  // "" takes the next starts
        bool ok;
        const char* state;
    } rows[] = {
        {"", true, "+a+b a:running b:running c:waiting d:waiting e:waiting"},
        {"", true, " a:running b:running c:waiting d:waiting e:waiting"},
        {"a", true, " a:done b:running c:waiting d:waiting e:waiting"},
        {"", true, "+c a:done b:running c:running d:waiting e:waiting"},
        {"b", false, " a:done b:failed c:running d:waiting e:waiting"},
        {"", true, "+d a:done b:failed c:running d:running e:waiting"},
        {"c", false, " a:done b:failed c:failed d:running e:waiting"},
        {"", true, " a:done b:failed c:failed d:running e:not started"},
        {"d", true, " a:done b:failed c:failed d:done e:not started over"},
    };
    for (const auto& row : rows) {
        std::vector<std::string> started;
        if (*row.finished)
            schedule.finish(row.finished, row.ok, "");
        else
            started = schedule.take_starts(Clock::now());
        EXPECT_EQ(describe(started), row.state) << row.finished;
    }
    EXPECT_EQ(schedule.stop_reason(), "stopped after 2 failed cameras");
}

TEST(FleetRules, ACopyCarriesTheRangedSettingsAndInModes2And3TheLayout) {
    for (const auto& [mode, steps] : {std::pair{1, "brightness 40 contrast 7 "},
                                      std::pair{2, "brightness 40 contrast 7 roi "}}) {
        const auto source = ParamsDocument::parse(
            R"({"brightness_current":40,"contrast_current":7,"wdr_value":1,"mode":)" +
            std::to_string(mode) + R"(,"_roi":{"roiNum":1}})");
        std::string text;
        for (const ActionRequest& step : copy_steps(*source))
            text += step.action +
                    (std::holds_alternative<int>(step.params)
                         ? " " + std::to_string(std::get<int>(step.params))
                         : "") +
                    " ";
        EXPECT_EQ(text, steps) << mode;
    }
}

TEST(FleetRules, UploadedFileNamesNeverBecomePaths) {
    const std::pair<const char*, const char*> rows[] = {
        {"ast_update_1230_7261.sh", "ast_update_1230_7261.sh"},
        {"../../etc/passwd", "passwd"},
        {"C:\\fw\\a b;c.bin", "a_b_c.bin"},
        {"...", "part"},
    };
    for (const auto& [given, stored] : rows) EXPECT_EQ(safe_file_name(given, "part"), stored);
}

}  // namespace
}  // namespace osconsole
