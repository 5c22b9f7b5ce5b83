// The console's reducers and follow-up policy as pure functions: each row
// feeds a fresh camera a sequence of inputs and reads what its state became.
#include <gtest/gtest.h>

#include "tools/console/fleet_store.h"
#include "tools/console/follow_up_policy.h"

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
    store.apply(other, ScreenshotStored{std::make_shared<const std::string>("picture")});
    EXPECT_TRUE(store.changes_since(seq).cameras.empty());
    EXPECT_FALSE(store.screenshot(other));
    EXPECT_FALSE(store.params(other));
}

}  // namespace
}  // namespace osconsole
