// Picture settings: one value into its field, one command for the worker.
#include "commands/operation_cases.h"

namespace commands_test {

namespace {

using ValueSetter = void (*)(const char*, int, int);

// The queued name is also the client operation the worker calls.
OperationCase setter(const char* function, ValueSetter fn, int CAM_PARAM::*field,
                     const char* document_key, int value, const std::string& queued) {
    return operation(function, [fn, value](const char* ip, int port) { fn(ip, port, value); })
        .queues({queued})
        .reports({{document_key, value}, {"http_port", kPort}})
        .stores([field, value](const CAM_PARAM& r) { EXPECT_EQ(r.*field, value); })
        .sends({queued + "(" + kIp + ", " + std::to_string(value) + ", " + std::to_string(kPort) +
                ")"});
}

}  // namespace

std::vector<OperationCase> value_setter_cases() {
    return {
        setter("SetBrightness", &SetBrightness, &CAM_PARAM::brightness_current,
               "brightness_current", 37, "SetBrightness"),
        // No range check: a value below any camera minimum is stored as given.
        setter("SetContrast", &SetContrast, &CAM_PARAM::contrast_current, "contrast_current", -3,
               "SetContrast"),
        setter("SetSaturation", &SetSaturation, &CAM_PARAM::saturation_current,
               "saturation_current", 250, "SetSaturation"),
        setter("SetAWB", &SetAWB, &CAM_PARAM::awb_current, "awb_current", 5600, "SetAWB"),
        setter("SetAutoAWB", &SetAutoAWB, &CAM_PARAM::autoawb_current, "autoawb_current", 1,
               "SetAutoAWB"),
        setter("SetSharpness", &SetSharpness, &CAM_PARAM::sharpness_current, "sharpness_current", 9,
               "SetSharpness"),
        setter("SetAntiFlicker", &SetAntiFlicker, &CAM_PARAM::antiflicker_current,
               "antiflicker_current", 60, "SetAntiFlicker"),
        setter("SetWDRValue", &SetWDRValue, &CAM_PARAM::wdr_value, "wdr_value", 2, "SetWDRValue"),
        setter("SetHDRValue", &SetHDRValue, &CAM_PARAM::hdr_value, "hdr_value", 0, "SetHDRValue"),
        setter("SetTiltShift", &SetTiltShift, &CAM_PARAM::tilt_shift, "tilt_shift", -12,
               "SetTiltShift"),
        setter("SetBitrate", &SetBitrate, &CAM_PARAM::bitrate, "bitrate", 8000000, "SetBitrate"),
        // Mode 1 keeps "_roi" out of the document; the regions modes are below.
        setter("SetMode", &SetMode, &CAM_PARAM::mode, "mode", 1, "SetImrxMode"),
        operation("GetMode", [](const char* ip, int port) { GetMode(ip, port); })
            .given([](CAM_PARAM& r) { r.mode = 3; })
            .queues({"GetImrxMode"})
            .reports({{"http_port", kPort}})
            .stores([](const CAM_PARAM& r) {
                EXPECT_TRUE(r.mode_query_pending);
                EXPECT_EQ(r.mode, 3);
            })
            .sends({"GetImrxMode(10.0.0.5, 8081)"}),
    };
}

INSTANTIATE_TEST_SUITE_P(ValueSetters, OperationSubmission, testing::ValuesIn(value_setter_cases()),
                         case_name);
INSTANTIATE_TEST_SUITE_P(ValueSetters, OperationWithoutClientLibrary,
                         testing::ValuesIn(value_setter_cases()), case_name);

namespace {

using ValueSetters = HandlerTest;

TEST_F(ValueSetters, FirstCommandCreatesTheCameraAndTravelsWithItsOwnPort) {
    SetBrightness(kIp, 8081, 5);
    const auto record = Access::record(kIp);
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->slot_index, 0);
    EXPECT_EQ(record->brightness_current, 5);
    EXPECT_EQ(record->http_port, 8081);
    ASSERT_TRUE(client().wait_for_call("SetBrightness("));
    EXPECT_EQ(calls_for(kIp), std::vector<std::string>{"SetBrightness(10.0.0.5, 5, 8081)"});
    EXPECT_TRUE(eventually(
        [] { return events().has_log("Thread 0 10.0.0.5send command SetBrightness port 8081"); }));
}

TEST_F(ValueSetters, EachCallQueuesItsOwnElementAndTheRecordKeepsTheLastValue) {
    add_held_camera(kIp);
    SetContrast(kIp, 8081, 1);
    SetContrast(kIp, 8082, 2);
    EXPECT_EQ(Access::queued(kIp), (std::vector<std::pair<std::string, int>>{
                                       {"SetContrast", 8081}, {"SetContrast", 8082}}));
    const auto record = Access::record(kIp);
    EXPECT_EQ(record->contrast_current, 2);
    EXPECT_EQ(record->http_port, 8082);
}

TEST_F(ValueSetters, ModeIsStoredAtOnceSoAFollowingRegionQueryIsQueued) {
    add_held_camera(kIp);
    SetMode(kIp, 8080, 2);
    EXPECT_EQ(Access::record(kIp)->mode, 2);
    GetROI(kIp, 8080);
    EXPECT_EQ(Access::queued(kIp),
              (std::vector<std::pair<std::string, int>>{{"SetImrxMode", 8080}, {"GetROI", 8080}}));
    EXPECT_TRUE(Access::roi_requested());
}

TEST_F(ValueSetters, OtherCamerasAreLeftAlone) {
    add_held_camera(kIp);
    add_held_camera("10.0.0.6");
    SetSharpness("10.0.0.6", 8081, 4);
    EXPECT_TRUE(Access::queued(kIp).empty());
    EXPECT_EQ(Access::record(kIp)->sharpness_current, 0);
    EXPECT_EQ(Access::record(kIp)->http_port, 8080);
    EXPECT_EQ(Access::queued_names("10.0.0.6"), std::vector<std::string>{"SetSharpness"});
}

}  // namespace
}  // namespace commands_test
