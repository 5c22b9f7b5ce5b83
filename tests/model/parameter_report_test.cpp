#include "model/parameter_report.h"

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "model/sample_records.h"

namespace {

using model::parameter_document;
using model::parameter_object;
using model_test::filled_record;

TEST(ParameterDocument, DefaultRecord) {
    const char* expected =
        R"({"antiflicker_current":0,"antiflicker_max":0,"antiflicker_min":0,)"
        R"("ast1220_ver":"","ast1230_ver":"","auth_enabled":false,)"
        R"("autoawb_current":0,"autoawb_max":0,"autoawb_min":0,)"
        R"("awb_current":0,"awb_max":0,"awb_min":0,"bitrate":15,)"
        R"("brightness_current":0,"brightness_max":0,"brightness_min":0,)"
        R"("camera_name":"","chipid":"","contrast_current":0,"contrast_max":0,"contrast_min":0,)"
        R"("current_resolution":{"height":0,"width":0},"enable_log_server":false,)"
        R"("encode_type":"h264",)"
        R"("fov":{"h_start_deg":0.0,"max_fovH":0,"max_fovV":0,"v_start_deg":0.0},)"
        R"("framerate":30,"gateway":"","gop":60,"got_param":false,"hdr_value":-1,)"
        R"("http_port":8080,"https_port":443,"is_static_ip":false,)"
        R"("log_server_ip":"","log_server_port":0,"manufacturer":"","mask":"","mode":0,)"
        R"("model":"","oem_fw_version":"","rtsp_port":554,)"
        R"("saturation_current":0,"saturation_max":0,"saturation_min":0,"serial":"",)"
        R"("sharpness_current":0,"sharpness_max":0,"sharpness_min":0,"static_ip":"",)"
        R"("support_resolution":[],"tilt_shift":0,"vertical_flipped":false,"wdr_value":-1})";
    EXPECT_EQ(parameter_document(CAM_PARAM{}, false), expected);
}

// Everything after "_roi" for model_test::filled_record, with the mode in the
// middle. The camera name carries an escaped quote and raw UTF-8.
std::string filled_body(int mode) {
    return std::string(
               R"("antiflicker_current":1,"antiflicker_max":2,"antiflicker_min":0,)"
               R"("ast1220_ver":"1.2.0","ast1230_ver":"3.4.5-b","auth_enabled":true,)"
               R"("autoawb_current":1,"autoawb_max":1,"autoawb_min":0,)"
               R"("awb_current":5500,"awb_max":10000,"awb_min":2000,"bitrate":20,)"
               R"("brightness_current":3,"brightness_max":10,"brightness_min":-10,)"
               "\"camera_name\":\"Hall \\\"East\\\" S\u00fcd\","
               R"("chipid":"0xA1B2","contrast_current":50,"contrast_max":100,"contrast_min":0,)"
               R"("current_resolution":{"height":960,"width":1920},"enable_log_server":true,)"
               R"("encode_type":"h265",)"
               R"("fov":{"h_start_deg":0.10000000149011612,"max_fovH":360,"max_fovV":180,)"
               R"("v_start_deg":-12.5},)"
               R"("framerate":25,"gateway":"127.0.0.1","gop":50,"got_param":true,"hdr_value":0,)"
               R"("http_port":8081,"https_port":8443,"is_static_ip":true,)"
               R"("log_server_ip":"127.0.0.2","log_server_port":514,)"
               R"("manufacturer":"Acme Optics","mask":"255.0.0.0","mode":)") +
           std::to_string(mode) +
           R"(,"model":"P360","oem_fw_version":"OEM-7","rtsp_port":8554,)"
           R"("saturation_current":128,"saturation_max":255,"saturation_min":0,)"
           R"("serial":"SN-0001","sharpness_current":5,"sharpness_max":9,"sharpness_min":1,)"
           R"("static_ip":"127.0.0.10","support_resolution":[)"
           R"({"fpsMax":30,"fpsMin":1,"height":1920,"type":["h264","h265"],"width":3840},)"
           R"({"fpsMax":60,"fpsMin":5,"height":960,"type":"mjpeg","width":1920}],)"
           R"("tilt_shift":-4,"vertical_flipped":true,"wdr_value":2})";
}

std::string roi_member(const char* first_region_height) {
    return std::string(
               R"("_roi":{"dstHeight":1080,"dstWidth":1920,"queuePolicy":0,"roiNum":2,)"
               R"("roiParam":[{"dstH":1080,"dstW":960,"dstX":0,"dstY":0,"projection":1,"srcH":)") +
           first_region_height +
           R"(,"srcW":960,"srcX":0,"srcY":0},)"
           R"({"dstH":540,"dstW":960,"dstX":960,"dstY":0,"projection":0,"srcH":960,)"
           R"("srcW":1920,"srcX":960,"srcY":100}],"srcHeight":1920,"srcWidth":3840},)";
}

TEST(ParameterDocument, FilledRecordWithoutLayout) {
    EXPECT_EQ(parameter_document(filled_record(1), true), "{" + filled_body(1));
}

TEST(ParameterDocument, FilledRecordWithPlainLayout) {
    EXPECT_EQ(parameter_document(filled_record(2), true), "{" + roi_member("500") + filled_body(2));
}

TEST(ParameterDocument, FilledRecordWithPerspectiveLayout) {
    EXPECT_EQ(parameter_document(filled_record(3), true), "{" + roi_member("626") + filled_body(3));
}

struct LayoutPresenceCase {
    int mode;
    bool has_roi;
};

void PrintTo(const LayoutPresenceCase& c, std::ostream* os) {
    *os << "mode " << c.mode;
}

class ParameterLayoutPresence : public ::testing::TestWithParam<LayoutPresenceCase> {};

TEST_P(ParameterLayoutPresence, OnlyModesTwoAndThreeCarryTheLayout) {
    CAM_PARAM record = filled_record(GetParam().mode);
    record.roi_layout.roiNum = 0;
    const std::string text = parameter_document(record, true);
    if (GetParam().has_roi) {
        // Underscore sorts before every lower-case letter.
        EXPECT_EQ(text.rfind(R"({"_roi":{"dstHeight":1080,)", 0), 0u) << text;
        const nlohmann::json roi = nlohmann::json::parse(text)["_roi"];
        EXPECT_EQ(roi["roiParam"], nlohmann::json::array());
        EXPECT_EQ(roi["queuePolicy"], 0);
    } else {
        EXPECT_EQ(text.find("_roi"), std::string::npos) << text;
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, ParameterLayoutPresence,
                         ::testing::Values(LayoutPresenceCase{0, false},
                                           LayoutPresenceCase{1, false},
                                           LayoutPresenceCase{2, true}, LayoutPresenceCase{3, true},
                                           LayoutPresenceCase{4, false},
                                           LayoutPresenceCase{-1, false}));

TEST(ParameterObject, GotParamComesFromTheArgumentNotTheSnapshot) {
    CAM_PARAM record;
    record.got_param = true;
    EXPECT_EQ(parameter_object(record, false)["got_param"], false);
    record.got_param = false;
    EXPECT_EQ(parameter_object(record, true)["got_param"], true);
}

TEST(ParameterObject, StartAnglesAreWidenedNotRounded) {
    CAM_PARAM record;
    record.h_start_deg = 0.1f;
    record.v_start_deg = 1.0f / 3.0f;
    const nlohmann::json fov = parameter_object(record, false)["fov"];
    EXPECT_TRUE(fov["h_start_deg"].is_number_float());
    EXPECT_EQ(fov["h_start_deg"].dump(), "0.10000000149011612");
    EXPECT_EQ(fov["v_start_deg"].get<double>(), static_cast<double>(1.0f / 3.0f));
    EXPECT_TRUE(fov["max_fovH"].is_number_integer());
}

TEST(ParameterObject, LogServerPortIsAnInteger) {
    CAM_PARAM record;
    record.log_server_port = 65535;
    const nlohmann::json port = parameter_object(record, false)["log_server_port"];
    EXPECT_TRUE(port.is_number_integer());
    EXPECT_EQ(port, 65535);
}

TEST(ParameterDocument, InvalidUtf8Throws) {
    CAM_PARAM record;
    record.camera_name = "bad \xFF name";
    EXPECT_THROW(parameter_document(record, false), nlohmann::json::type_error);
}

// Shapes of "support_resolution" for the combinations of the parallel lists.
struct SupportCase {
    const char* name;
    std::vector<Resolution> resolutions;
    std::vector<std::vector<std::string>> types;
    std::vector<FrameRateRange> fps;
    const char* expected;
};

void PrintTo(const SupportCase& c, std::ostream* os) {
    *os << c.name;
}

class SupportResolution : public ::testing::TestWithParam<SupportCase> {};

TEST_P(SupportResolution, HasExpectedShape) {
    CAM_PARAM record;
    record.support_resolution = GetParam().resolutions;
    record.support_types = GetParam().types;
    record.support_fps = GetParam().fps;
    EXPECT_EQ(parameter_object(record, false)["support_resolution"].dump(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Lists, SupportResolution,
    ::testing::Values(
        SupportCase{"None", {}, {}, {}, "[]"},
        SupportCase{"NoResolutionsIgnoresOtherLists", {}, {{"h264"}}, {{1, 30}}, "[]"},
        SupportCase{"SizesOnly",
                    {{3840, 1920}, {1920, 960}},
                    {},
                    {},
                    R"([{"height":1920,"width":3840},{"height":960,"width":1920}])"},
        SupportCase{"SizesAndFps",
                    {{3840, 1920}, {1920, 960}},
                    {},
                    {{1, 30}, {5, 60}},
                    R"([{"fpsMax":30,"fpsMin":1,"height":1920,"width":3840},)"
                    R"({"fpsMax":60,"fpsMin":5,"height":960,"width":1920}])"},
        SupportCase{"OneTypeIsAString",
                    {{640, 480}},
                    {{"mjpeg"}},
                    {},
                    R"([{"height":480,"type":"mjpeg","width":640}])"},
        SupportCase{"TwoTypesAreAnArray",
                    {{640, 480}},
                    {{"h264", "h265"}},
                    {},
                    R"([{"height":480,"type":["h264","h265"],"width":640}])"},
        SupportCase{"NoTypesForOneEntryOmitsType",
                    {{640, 480}, {320, 240}},
                    {{}, {"h264"}},
                    {},
                    R"([{"height":480,"width":640},{"height":240,"type":"h264","width":320}])"},
        SupportCase{"ShortTypesListEndsTheArray",
                    {{640, 480}, {320, 240}},
                    {{"h264"}},
                    {{1, 30}, {1, 60}},
                    R"([{"fpsMax":30,"fpsMin":1,"height":480,"type":"h264","width":640}])"},
        SupportCase{"ShortFpsListEndsTheArray",
                    {{640, 480}, {320, 240}, {160, 120}},
                    {{"a"}, {"b"}, {"c"}},
                    {{1, 30}, {1, 60}},
                    R"([{"fpsMax":30,"fpsMin":1,"height":480,"type":"a","width":640},)"
                    R"({"fpsMax":60,"fpsMin":1,"height":240,"type":"b","width":320}])"},
        SupportCase{"LongerParallelListsAreIgnoredPastTheSizes",
                    {{640, 480}},
                    {{"a"}, {"b"}},
                    {{1, 30}, {1, 60}},
                    R"([{"fpsMax":30,"fpsMin":1,"height":480,"type":"a","width":640}])"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ParameterObject, ReportsExactlyTheDocumentedMembers) {
    const nlohmann::json doc = parameter_object(filled_record(3), true);
    std::vector<std::string> keys;
    for (const auto& item : doc.items()) keys.push_back(item.key());
    const std::vector<std::string> expected = {
        "_roi",
        "antiflicker_current",
        "antiflicker_max",
        "antiflicker_min",
        "ast1220_ver",
        "ast1230_ver",
        "auth_enabled",
        "autoawb_current",
        "autoawb_max",
        "autoawb_min",
        "awb_current",
        "awb_max",
        "awb_min",
        "bitrate",
        "brightness_current",
        "brightness_max",
        "brightness_min",
        "camera_name",
        "chipid",
        "contrast_current",
        "contrast_max",
        "contrast_min",
        "current_resolution",
        "enable_log_server",
        "encode_type",
        "fov",
        "framerate",
        "gateway",
        "gop",
        "got_param",
        "hdr_value",
        "http_port",
        "https_port",
        "is_static_ip",
        "log_server_ip",
        "log_server_port",
        "manufacturer",
        "mask",
        "mode",
        "model",
        "oem_fw_version",
        "rtsp_port",
        "saturation_current",
        "saturation_max",
        "saturation_min",
        "serial",
        "sharpness_current",
        "sharpness_max",
        "sharpness_min",
        "static_ip",
        "support_resolution",
        "tilt_shift",
        "vertical_flipped",
        "wdr_value",
    };
    EXPECT_EQ(keys, expected);
}

}  // namespace

namespace {

// The document is written without building the object; the two must never
// drift apart, whatever the record holds.
TEST(ParameterDocument, IsTheObjectSerialised) {
    std::vector<CAM_PARAM> records = {CAM_PARAM{}, filled_record(0), filled_record(2),
                                      filled_record(3)};
    CAM_PARAM odd = filled_record(2);
    odd.camera_name = "tab\tnew\nline \x01 \"quoted\" back\\slash \xc3\xa9";
    odd.model = "";
    odd.support_resolution = {{1, 2}, {3840, 1920}};
    odd.h_start_deg = -0.0f;
    odd.v_start_deg = 1e-7f;
    odd.brightness_current = -2147483647 - 1;
    records.push_back(odd);
    for (const CAM_PARAM& record : records) {
        for (const bool got_param : {false, true}) {
            EXPECT_EQ(parameter_document(record, got_param),
                      parameter_object(record, got_param).dump());
        }
    }
}

}  // namespace
