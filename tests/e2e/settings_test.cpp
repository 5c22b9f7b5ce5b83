// Settings through the whole chain: values set through the handler reach the
// camera, and the parameter document of a refresh agrees with what the
// camera holds. (ROI layouts both ways: oscctl's tests.)
#include "e2e_fixture.h"

namespace e2e {
namespace {

using nlohmann::json;

struct SetterCase {
    const char* command;
    void (*set)(const char*, int, int);
    int value;
    const char* key;     // in the parameter document
    const char* option;  // in the camera's options
};

const SetterCase kSetters[] = {
    {"SetBrightness", SetBrightness, 61, "brightness_current", "_brightness"},
    {"SetContrast", SetContrast, 42, "contrast_current", "_contrast"},
    {"SetSaturation", SetSaturation, 33, "saturation_current", "_saturation"},
    {"SetSharpness", SetSharpness, 17, "sharpness_current", "_sharpness"},
    {"SetAntiFlicker", SetAntiFlicker, 2, "antiflicker_current", "_antiflicker"},
    {"SetAWB", SetAWB, 4500, "awb_current", "_awb"},
    {"SetWDRValue", SetWDRValue, 3, "wdr_value", "_wdr"},
    {"SetHDRValue", SetHDRValue, 2, "hdr_value", "hdr"},
    {"SetTiltShift", SetTiltShift, 5, "tilt_shift", "_tiltShift"},
};

class Settings : public EndToEndTest {};

TEST_F(Settings, SetValuesReachTheCameraAndTheRefreshReportsWhatItHolds) {
    auto& camera = start_camera(11);
    const std::string ip = camera.host();
    for (const auto& s : kSetters) s.set(ip.c_str(), camera.port(), s.value);
    for (const auto& s : kSetters) {
        const CommandResult result = wait_result(ip, s.command);
        EXPECT_TRUE(result.ok) << s.command << ": " << result.message;
    }
    const json doc = refresh_settings(camera);
    const json state = camera.snapshot();
    const json& options = state.at("options");
    for (const auto& s : kSetters) {
        SCOPED_TRACE(s.command);
        EXPECT_EQ(options.at(s.option), s.value);
        EXPECT_EQ(doc.at(s.key), s.value);
    }
    EXPECT_TRUE(doc.at("got_param").get<bool>());
    for (const char* control : {"brightness", "contrast", "saturation", "sharpness", "awb"}) {
        const json& range = options.at("_" + std::string(control) + "Support");
        EXPECT_EQ(doc.at(std::string(control) + "_min"), range.at("min")) << control;
        EXPECT_EQ(doc.at(std::string(control) + "_max"), range.at("max")) << control;
    }
    const json& ports = options.at("_servicePort");
    EXPECT_EQ(json({doc.at("http_port"), doc.at("https_port"), doc.at("rtsp_port")}),
              json({ports.at("http"), ports.at("https"), ports.at("rtsp")}));
    EXPECT_EQ(doc.at("camera_name"), options.at("_cameraName"));
    EXPECT_EQ(doc.at("model"), state.at("model"));
    EXPECT_EQ(doc.at("ast1220_ver"), state.at("ast1220_version"));
    EXPECT_EQ(doc.at("current_resolution").at("width"),
              options.at("_fileFormatPreview").at(0).at("width"));
    // Every supported resolution but 3840x3120, which is never offered.
    EXPECT_EQ(doc.at("support_resolution").size() + 1,
              options.at("_fileFormatPreviewSupport").size());
    // The refresh ends by starting the stream, and the camera knows it.
    EXPECT_TRUE(wait_for([&] { return !results_of(ip, "StartStreaming").empty(); }));
    EXPECT_TRUE(camera.snapshot().at("streaming").get<bool>());
    EXPECT_EQ(parameters_of(ip).size(), 1u);
}

}  // namespace
}  // namespace e2e
