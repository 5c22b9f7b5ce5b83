// Answers that break the expected shape must throw (the intake logs them and
// carries on), never read or write out of bounds.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_sink.h"

namespace responses_test {
namespace {

using ::testing::IsEmpty;

std::string options(const std::string& members) {
    return R"({"name":"camera.getOptions","results":{"options":{)" + members + "}}}";
}

std::string cmdline(const std::string& func, const std::string& results) {
    return R"({"name":"camera._cmdLine","func":")" + func + R"(","results":)" + results + "}";
}

const std::string kRoiHead = R"("_roi":{"srcWidth":1,"srcHeight":1,"dstWidth":1,"dstHeight":1,)";
const std::string kRoiParam =
    R"("srcX":1,"srcY":1,"srcW":1,"srcH":1,"dstX":1,"dstY":1,"dstW":1,"dstH":1,)";

class MalformedAnswer : public ::testing::TestWithParam<std::string> {};

TEST_P(MalformedAnswer, Throws) {
    FakeSink sink;
    EXPECT_ANY_THROW(sink.parse(GetParam()));
    EXPECT_EQ(sink.parameter_notifications, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Options, MalformedAnswer,
    ::testing::Values(
        options(R"("_brightness":"5")"), options(R"("_brightnessSupport":{"min":1})"),
        options(R"("_wdr":1e300)"), options(R"("_wdr":3000000000)"),
        options(R"("_tiltShift":null)"),
        options(kRoiHead + R"("roiNum":1,"roiParam":[{)" + kRoiParam + R"("projection":300}]})"),
        options(R"("_roi":{"srcWidth":-1,"srcHeight":1,"dstWidth":1,"dstHeight":1,"roiNum":0,
                  "roiParam":[]})"),
        options(R"("_roi":{"srcWidth":65536,"srcHeight":1,"dstWidth":1,"dstHeight":1,
                  "roiNum":0,"roiParam":[]})"),
        options(kRoiHead + R"("roiNum":256,"roiParam":[]})"),
        options(kRoiHead + R"("roiNum":1,"roiParam":{}})"), options(kRoiHead + R"("roiNum":1})"),
        options(R"("_imrxVersion":{"AST1220":"AST"})"),
        options(R"("_imrxVersion":{"AST1220":"ASTxyz"})"),
        options(R"("_imrxVersion":{"AST1220":7})"), options(R"("_imrxVersion":{"AST1235":["Q"]})"),
        options(R"("_fileFormatPreviewSupport":{"width":1,"height":1})"),
        options(R"("_fileFormatPreviewSupport":[{"width":1}])"),
        options(R"("_fileFormatPreviewSupport":[{"width":1,"height":1,"type":[1]}])"),
        options(R"("_fileFormatPreview":[])"), options(R"("_fileFormatPreview":{"width":1})"),
        options(R"("_fileFormatPreview":[{"width":1,"height":1,"type":"h264","framerate":1,
                  "qp":"rc(4000000"}])"),
        options(R"("_fileFormatPreview":[{"width":1,"height":1,"type":"h264","framerate":1,
                  "qp":"rc(fast,60"}])"),
        options(R"("_fileFormatPreview":[{"width":1,"height":1,"type":"h264","framerate":1,
                  "fov":{"max_fovH":1,"max_fovV":1,"h_start_deg":1e40}}])"),
        options(R"("_updateStatus":{"progress":1e20,"description":"x"})"),
        options(R"("_updateStatus":{"progress":1})"), options(R"("_cameraName":1)"),
        options(R"("_servicePort":{"https":443})")));

INSTANTIATE_TEST_SUITE_P(
    CommandLines, MalformedAnswer,
    ::testing::Values(cmdline("GetEthernetSettings", R"({"response":["static","a","b"]})"),
                      cmdline("GetEthernetSettings", R"({"response":"static"})"),
                      cmdline("GetSyslogSettings", R"({"response":["1","port","ip"]})"),
                      cmdline("GetSyslogSettings", R"({"response":["1","99999999999","ip"]})"),
                      cmdline("GetAuthEnable", R"({"response":[]})"),
                      cmdline("GetAuthEnable", R"({"response":[1]})"),
                      cmdline("GetQpPreview", R"({"response":["4000000"]})"),
                      cmdline("GetFwVer1220", R"({"response":["AST1"]})"),
                      cmdline("GetGyroAndAccel", R"({"response":["only one"]})"),
                      cmdline("GetCpuUsage", R"({"options":{"CpuUsage":{}}})"),
                      cmdline("GetProcessList", R"({"options":{}})"),
                      cmdline("GetMemoryUsage",
                              R"({"options":{"MemoryUsage":{"Total":"1","used":1}}})"),
                      R"({"name":"camera._cmdLine","results":{}})"));

INSTANTIATE_TEST_SUITE_P(Texts, MalformedAnswer,
                         ::testing::Values("", "{", "not json", R"({"name":"reboot",})"));

TEST(MalformedAnswers, QpPreviewWithUnreadableModuleVersionThrowsAfterStoring) {
    FakeSink sink;
    sink.camera.ast1220_ver = "IMRX_1";
    EXPECT_ANY_THROW(sink.parse(cmdline("GetQpPreview", R"({"response":["2000000 30"]})")));
    EXPECT_EQ(sink.camera.bitrate, 2000);
    EXPECT_THAT(sink.events, IsEmpty());
}

TEST(MalformedAnswers, ValuesReadBeforeTheErrorStayStored) {
    FakeSink sink;
    EXPECT_ANY_THROW(sink.parse(options(R"("_wdr":4,"_tiltShift":"x")")));
    EXPECT_EQ(sink.camera.wdr_value, 4);
}

}  // namespace
}  // namespace responses_test
