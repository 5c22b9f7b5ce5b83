// Settings through the whole chain: the handler's parameter document and the
// values it sets must agree with what the simulated camera holds.
#include <thread>

#include "e2e_fixture.h"

namespace e2e {
namespace {

using nlohmann::json;

// Picture controls: the document's "<key>_min/_max/_current" against the
// camera's "<option>Support" range and "<option>" value.
struct RangedControl {
    const char* key;
    const char* option;
};

constexpr RangedControl kRangedControls[] = {
    {"brightness", "_brightness"}, {"contrast", "_contrast"},       {"saturation", "_saturation"},
    {"sharpness", "_sharpness"},   {"antiflicker", "_antiflicker"}, {"awb", "_awb"},
    {"autoawb", "_autoAwb"},
};

// Plain integer members of the document and the camera option behind each.
struct IntegerSetting {
    const char* key;
    const char* option;
};

constexpr IntegerSetting kIntegerSettings[] = {
    {"mode", "_imrxMode"},
    {"wdr_value", "_wdr"},
    {"hdr_value", "hdr"},
    {"tilt_shift", "_tiltShift"},
};

using Setter = void (*)(const char*, int, int);

struct SetterCase {
    const char* command;
    Setter set;
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

bool camera_saw(const oscsim::CameraSim& camera, const std::string& command) {
    for (const auto& r : camera.requests()) {
        if (r.command == command) return true;
    }
    return false;
}

class Settings : public EndToEndTest {};

TEST_F(Settings, FullRefreshReportsOneDocumentMatchingTheCamera) {
    auto& camera = start_camera(11);
    const std::string ip = camera.host();

    const json doc = refresh_settings(camera);
    // The refresh ends with the stream start; no second document may follow.
    ASSERT_TRUE(eventually([&] { return camera_saw(camera, "camera._getLivePreview"); }));
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(parameters_of(ip).size(), 1u);

    const json state = camera.snapshot();
    const json& options = state.at("options");
    EXPECT_TRUE(doc.at("got_param").get<bool>());
    for (const auto& c : kRangedControls) {
        SCOPED_TRACE(c.key);
        const std::string key = c.key;
        const json& range = options.at(std::string(c.option) + "Support");
        EXPECT_EQ(doc.at(key + "_min"), range.at("min"));
        EXPECT_EQ(doc.at(key + "_max"), range.at("max"));
        EXPECT_EQ(doc.at(key + "_current"), options.at(c.option));
    }
    for (const auto& s : kIntegerSettings) {
        SCOPED_TRACE(s.key);
        EXPECT_EQ(doc.at(s.key), options.at(s.option));
    }
    EXPECT_EQ(doc.at("vertical_flipped").get<bool>(), options.at("_cameraPlacement") == 1);
    EXPECT_EQ(doc.at("camera_name"), options.at("_cameraName"));
    EXPECT_EQ(doc.at("http_port"), options.at("_servicePort").at("http"));
    EXPECT_EQ(doc.at("https_port"), options.at("_servicePort").at("https"));
    EXPECT_EQ(doc.at("rtsp_port"), options.at("_servicePort").at("rtsp"));
    EXPECT_EQ(doc.at("model"), state.at("model"));
    EXPECT_EQ(doc.at("serial"), "SIM00011");
    EXPECT_EQ(doc.at("ast1220_ver"), state.at("ast1220_version"));
    const json& preview = options.at("_fileFormatPreview").at(0);
    EXPECT_EQ(doc.at("current_resolution").at("width"), preview.at("width"));
    EXPECT_EQ(doc.at("current_resolution").at("height"), preview.at("height"));
    // Every supported resolution but 3840x3120, which is never offered.
    json offered = json::array();
    for (const json& e : options.at("_fileFormatPreviewSupport")) {
        if (e.at("width") == 3840 && e.at("height") == 3120) continue;
        offered.push_back({{"width", e.at("width")}, {"height", e.at("height")}});
    }
    ASSERT_EQ(offered.size() + 1, options.at("_fileFormatPreviewSupport").size())
        << "the camera no longer offers 3840x3120";
    json reported = json::array();
    for (const json& e : doc.at("support_resolution")) {
        reported.push_back({{"width", e.at("width")}, {"height", e.at("height")}});
    }
    EXPECT_EQ(reported, offered);
    // The refresh starts the stream, and the camera knows it.
    EXPECT_TRUE(camera.snapshot().at("streaming").get<bool>());
}

TEST_F(Settings, SettersReachTheCameraAndReadBack) {
    auto& camera = start_camera(12);
    const std::string ip = camera.host();
    const json before = camera.snapshot().at("options");
    for (const auto& s : kSetters) {
        ASSERT_NE(before.at(s.option), s.value) << s.option << " already holds the test value";
        s.set(ip.c_str(), camera.port(), s.value);
    }
    for (const auto& s : kSetters) {
        SCOPED_TRACE(s.command);
        const CommandResult result = wait_result(ip, s.command);
        EXPECT_TRUE(result.ok) << result.message;
    }

    const json doc = refresh_settings(camera);
    const json after = camera.snapshot().at("options");
    for (const auto& s : kSetters) {
        SCOPED_TRACE(s.command);
        EXPECT_EQ(after.at(s.option), s.value);
        EXPECT_EQ(doc.at(s.key), s.value);
    }
}

TEST_F(Settings, ModeTwoReportsTheCameraLayout) {
    auto& camera = start_camera(13);
    const std::string ip = camera.host();

    SetMode(ip.c_str(), camera.port(), 2);
    const CommandResult set = wait_result(ip, "SetMode");
    EXPECT_TRUE(set.ok) << set.message;
    EXPECT_EQ(camera.snapshot().at("options").at("_imrxMode"), 2);

    GetROI(ip.c_str(), camera.port());
    const CommandResult roi = wait_result(ip, "GetROI");
    ASSERT_TRUE(roi.ok) << roi.message;
    const json layout = json::parse(roi.message).at("_roi");
    const json sim_roi = camera.snapshot().at("options").at("_roi");
    EXPECT_EQ(layout.at("srcWidth"), sim_roi.at("srcWidth"));
    EXPECT_EQ(layout.at("dstWidth"), sim_roi.at("dstWidth"));
    EXPECT_EQ(layout.at("roiParam").size(), sim_roi.at("roiParam").size());
}

TEST_F(Settings, RoiLayoutIsStoredByTheCamera) {
    auto& camera = start_camera(14);
    const std::string ip = camera.host();
    SetMode(ip.c_str(), camera.port(), 2);

    video_layout_format layout{};
    layout.srcWidth = 3840;
    layout.srcHeight = 1920;
    layout.dstWidth = 1920;
    layout.dstHeight = 1080;
    layout.roiNum = 2;
    layout.roiParam[0] = {0, 0, 1920, 960, 0, 0, 960, 540, 0};
    layout.roiParam[1] = {1920, 960, 1920, 960, 960, 540, 960, 540, 0};
    SetROI(ip.c_str(), camera.port(), layout);

    const CommandResult result = wait_result(ip, "SetROI");
    EXPECT_TRUE(result.ok) << result.message;
    const json roi = camera.snapshot().at("options").at("_roi");
    EXPECT_EQ(roi.at("srcWidth"), 3840);
    EXPECT_EQ(roi.at("srcHeight"), 1920);
    EXPECT_EQ(roi.at("dstWidth"), 1920);
    EXPECT_EQ(roi.at("dstHeight"), 1080);
    EXPECT_EQ(roi.at("roiNum"), 2);
    ASSERT_EQ(roi.at("roiParam").size(), 2u);
    const json& second = roi.at("roiParam").at(1);
    EXPECT_EQ(second.at("srcX"), 1920);
    EXPECT_EQ(second.at("srcY"), 960);
    EXPECT_EQ(second.at("dstX"), 960);
    EXPECT_EQ(second.at("dstW"), 960);
    EXPECT_EQ(second.at("projection"), 0);

    // Asked again, the camera's answer carries the layout back to the host.
    const size_t reports = results_of(ip, "GetROI").size();
    GetROI(ip.c_str(), camera.port());
    ASSERT_TRUE(wait_for([&] { return results_of(ip, "GetROI").size() > reports; }));
    const json reported = json::parse(results_of(ip, "GetROI").back().message).at("_roi");
    EXPECT_EQ(reported.at("roiNum"), 2);
    ASSERT_EQ(reported.at("roiParam").size(), 2u);
    EXPECT_EQ(reported.at("roiParam").at(1).at("srcX"), 1920);
    EXPECT_EQ(reported.at("roiParam").at(1).at("dstW"), 960);
}

}  // namespace
}  // namespace e2e
