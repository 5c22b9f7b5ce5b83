// A whole settings refresh against a scripted camera: nine answers of every
// family fold into one parameter document. Every control has values of its
// own, so two swapped fields cannot pass.
#include <map>

#include "support/handler_fixture.h"

namespace {

json range(int min, int max) {
    return {{"min", min}, {"max", max}};
}

const json kRegions = R"({"srcWidth":3840,"srcHeight":1920,"dstWidth":1920,"dstHeight":540,
  "roiNum":2,"roiParam":[
  {"srcX":11,"srcY":12,"srcW":13,"srcH":14,"dstX":15,"dstY":16,"dstW":17,"dstH":18,"projection":0},
  {"srcX":21,"srcY":22,"srcW":23,"srcH":24,"dstX":25,"dstY":26,"dstW":27,"dstH":28,"projection":2}]})"_json;

const json kAllOptions = {
    {"_brightnessSupport", range(1, 101)},
    {"_brightness", 51},
    {"_contrastSupport", range(2, 102)},
    {"_contrast", 52},
    {"_saturationSupport", range(3, 103)},
    {"_saturation", 53},
    {"_sharpnessSupport", range(4, 14)},
    {"_sharpness", 9},
    {"_antiflickerSupport", range(5, 15)},
    {"_antiflicker", 10},
    {"_awbSupport", range(2800, 6500)},
    {"_awb", 5000},
    {"_autoAwbSupport", range(6, 16)},
    {"_autoAwb", 11},
    {"_imrxMode", 2},
    {"_wdr", 19},
    {"hdr", 20},
    {"_tiltShift", 21},
    {"_cameraPlacement", 1},
    {"_imrxVersion", {{"AST1220", "AST_07_x"}, {"AST1235", "Q07261-3.1"}}},
    // 3840x3120 is never offered to the host.
    {"_fileFormatPreviewSupport", R"([
      {"width":3840,"height":1920,"type":"h264","fpsMin":1,"fpsMax":30},
      {"width":3840,"height":3120,"type":"h264","fpsMin":2,"fpsMax":15},
      {"width":1920,"height":960,"type":["h264","h265"],"fpsMin":3,"fpsMax":60}])"_json},
    {"_fileFormatPreview", R"([{"width":1920,"height":960,"type":"h265","framerate":25,
      "fov":{"max_fovH":360,"max_fovV":180,"h_start_deg":0.5,"v_start_deg":-90.0},
      "qp":"qp(22,38);rc(6000000,31"}])"_json},
};

const std::map<std::string, std::string> kCamera = {
    {"GetNetSetting",
     cmdline_answer("GetEthernetSettings",
                    {{"response", {"static", "10.3.0.20", "255.255.255.0", "10.3.0.1"}}})},
    {"GetSyslogEnable",
     cmdline_answer("GetSyslogSettings", {{"response", {"1", "514", "10.3.0.5"}}})},
    {"GetAuthEnable", cmdline_answer("GetAuthEnable", {{"response", {"1"}}})},
    {"GetROI", options_answer({{"_roi", kRegions}})},
    {"GetInfo",
     R"({"manufaturer":"Acme","model":"M3VX27164","_chipId":"0x5A17","serialNumber":"S-1"})"},
    {"GetServicePorts",
     options_answer({{"_servicePort", {{"http", 8081}, {"https", 8443}, {"rtsp", 8554}}}})},
    {"GetCameraName", options_answer({{"_cameraName", "Lobby"}})},
    {"GetOptionsAll", options_answer(kAllOptions)},
    {"StartStreaming", R"({"name":"camera._getLivePreview","state":"done"})"},
    {"SendCmdLine", cmdline_answer("SendCmdLine", {{"response", {"OEM 2.4.1"}}})},
};

// Members in byte order, as the host receives them.
const json kGolden = R"({"_roi":{"dstHeight":540,"dstWidth":1920,"queuePolicy":0,"roiNum":2,
  "roiParam":[
  {"dstH":18,"dstW":17,"dstX":15,"dstY":16,"projection":0,"srcH":14,"srcW":13,"srcX":11,"srcY":12},
  {"dstH":28,"dstW":27,"dstX":25,"dstY":26,"projection":2,"srcH":24,"srcW":23,"srcX":21,"srcY":22}],
  "srcHeight":1920,"srcWidth":3840},
  "antiflicker_current":10,"antiflicker_max":15,"antiflicker_min":5,
  "ast1220_ver":"AST_07_x","ast1230_ver":"Q07261-3.1","auth_enabled":true,
  "autoawb_current":11,"autoawb_max":16,"autoawb_min":6,
  "awb_current":5000,"awb_max":6500,"awb_min":2800,"bitrate":6000,
  "brightness_current":51,"brightness_max":101,"brightness_min":1,
  "camera_name":"Lobby","chipid":"0x5A17",
  "contrast_current":52,"contrast_max":102,"contrast_min":2,
  "current_resolution":{"height":960,"width":1920},
  "enable_log_server":true,"encode_type":"h265",
  "fov":{"h_start_deg":0.5,"max_fovH":360,"max_fovV":180,"v_start_deg":-90.0},
  "framerate":25,"gateway":"10.3.0.1","gop":31,"got_param":true,"hdr_value":20,
  "http_port":8081,"https_port":8443,"is_static_ip":true,
  "log_server_ip":"10.3.0.5","log_server_port":514,"manufacturer":"Acme",
  "mask":"255.255.255.0","mode":2,"model":"M3VX27164","oem_fw_version":"","rtsp_port":8554,
  "saturation_current":53,"saturation_max":103,"saturation_min":3,"serial":"S-1",
  "sharpness_current":9,"sharpness_max":14,"sharpness_min":4,"static_ip":"10.3.0.20",
  "support_resolution":[
  {"fpsMax":30,"fpsMin":1,"height":1920,"type":"h264","width":3840},
  {"fpsMax":60,"fpsMin":3,"height":960,"type":["h264","h265"],"width":1920}],
  "tilt_shift":21,"vertical_flipped":true,"wdr_value":19})"_json;

using FullRefresh = HandlerTest;

TEST_F(FullRefresh, HostGetsOneDocumentHoldingEveryAnswer) {
    client().on_call([this](const std::string& line, const std::string& ip) {
        const auto answer = kCamera.find(line.substr(0, line.find('(')));
        if (!ip.empty()) client().respond(answer != kCamera.end() ? answer->second : "{}", ip);
    });
    GetCameraSettings(kIp, kPort, false);
    // GetInfo's answer asks for the OEM version after the nine.
    ASSERT_TRUE(client().wait_for_call("SendCmdLine("));
    ASSERT_TRUE(client().wait_idle());
    const auto documents = events().parameters();
    ASSERT_EQ(documents.size(), 1u);
    EXPECT_EQ(documents[0].first, kIp);
    EXPECT_EQ(json::parse(documents[0].second), kGolden);
    EXPECT_EQ(events().results(), std::vector<CommandResult>({{kIp, "StartStreaming", true, ""}}));
    // Afterwards the document is complete: asked again, it comes at once.
    GetCameraSettings(kIp, kPort, false);
    EXPECT_EQ(events().parameters().size(), 2u);
    EXPECT_EQ(json::parse(events().parameters().back().second)["oem_fw_version"], "OEM 2.4.1");
}

}  // namespace
