// What every camera operation shares: its commands queued with the caller's
// port, only its own fields written, the worker sending the stored values, and
// no effect at all without a client library or a free slot.
#include "commands/operation_cases.h"

namespace commands_test {
namespace {

// Queued behind every row's commands: once the camera has been sent this,
// everything the operation queued has gone out.
constexpr const char* kEndMarker = "GetCaptureStatus";

TEST_P(OperationSubmission, QueuesItsCommandsWithTheCallersPort) {
    held_camera_as_prepared();
    GetParam().call(kIp, kPort);
    EXPECT_EQ(Access::queued(kIp), paired(GetParam().queued, kPort));
}

TEST_P(OperationSubmission, ChangesOnlyWhatItStores) {
    held_camera_as_prepared();
    const json before = reported_parameters(kIp);
    GetParam().call(kIp, kPort);
    json expected = before;
    expected.update(GetParam().reported);
    const json after = reported_parameters(kIp);
    EXPECT_EQ(after, expected) << json::diff(expected, after).dump();
    if (GetParam().stored) GetParam().stored(*Access::record(kIp));
}

TEST_P(OperationSubmission, SendsTheStoredValuesOnceReleased) {
    const QuietStdout quiet;
    held_camera_as_prepared();
    GetParam().call(kIp, kPort);
    Access::push(kIp, kEndMarker, kPort);
    answer_everything();
    Access::release(kIp);
    ASSERT_TRUE(client().wait_for_call(std::string(kEndMarker) + "(", kExchangeTimeout));
    std::vector<std::string> expected = GetParam().sent;
    expected.push_back(plain_calls({kEndMarker}).front());
    EXPECT_EQ(calls_for(kIp), expected);
}

TEST_P(OperationWithoutClientLibrary, StoresQueuesAndReportsNothing) {
    GetParam().call(kIp, kPort);
    EXPECT_EQ(Access::camera_count(), 0u);
    EXPECT_TRUE(events().logs().empty());
    EXPECT_TRUE(events().results().empty());
    EXPECT_TRUE(events().parameters().empty());
}

TEST_F(NoClientLibrary, StoredHealthIsStillAnsweredWithDefaults) {
    GetCameraHealthAndUsage_stored(kIp, kPort);
    const auto health = events().health();
    ASSERT_EQ(health.size(), 1u);
    EXPECT_EQ(health[0].ip, kIp);
    EXPECT_FALSE(health[0].process_ok);
    EXPECT_EQ(health[0].cpu, 0.0f);
    EXPECT_EQ(health[0].memory, 0.0f);
    EXPECT_FALSE(health[0].in_preview);
    EXPECT_EQ(health[0].mode, 0);
    EXPECT_EQ(Access::camera_count(), 0u);
}

TEST_F(NoClientLibrary, CameraParamsAreStillReported) {
    GetCameraParams(kIp);
    const auto documents = events().parameters();
    ASSERT_EQ(documents.size(), 1u);
    EXPECT_EQ(documents[0].first, kIp);
    EXPECT_EQ(json::parse(documents[0].second).at("got_param"), false);
}

std::vector<OperationCase> every_operation_case() {
    std::vector<OperationCase> all;
    for (auto rows : {value_setter_cases(), streaming_roi_cases(), firmware_cases(),
                      network_system_cases(), settings_query_cases()}) {
        all.insert(all.end(), rows.begin(), rows.end());
    }
    return all;
}

using CameraLimit = HandlerTest;

TEST_F(CameraLimit, NoOperationMakesAnEntryForACameraBeyondTheLimit) {
    for (int i = 0; i < kMaxCameras; ++i) Access::ensure("10.1.0." + std::to_string(i));
    ASSERT_EQ(Access::camera_count(), static_cast<size_t>(kMaxCameras));
    const std::string limit_line = "_ensure_camera_entry_exits thread id may exceeded 99";
    const std::string newcomer = "10.2.0.1";
    for (const OperationCase& c : every_operation_case()) {
        SCOPED_TRACE(c.name);
        const size_t lines_before = events().count_log(limit_line);
        c.call(newcomer.c_str(), kPort);
        EXPECT_EQ(Access::camera_count(), static_cast<size_t>(kMaxCameras));
        EXPECT_FALSE(Access::record(newcomer).has_value());
        EXPECT_EQ(events().count_log(limit_line), lines_before + 1);
    }
    EXPECT_EQ(client().call_count(), 0u);
    EXPECT_TRUE(events().parameters().empty());
}

}  // namespace
}  // namespace commands_test
