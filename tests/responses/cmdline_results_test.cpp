// "camera._cmdLine" results, per vendor function.
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "fake_sink.h"

namespace responses_test {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string cmdline_result(const std::string& func, const json& results) {
    return json{{"name", "camera._cmdLine"}, {"func", func}, {"results", results}}.dump();
}

std::string lines_result(const std::string& func, const std::vector<std::string>& lines) {
    return cmdline_result(func, {{"response", lines}});
}

struct RecordCase {
    const char* name;
    std::string text;
    std::function<void(CAM_PARAM&)> prepare;
    std::function<void(const CAM_PARAM&)> check;
};

void PrintTo(const RecordCase& c, std::ostream* os) {
    *os << c.name;
}

class CmdlineIntoRecord : public ::testing::TestWithParam<RecordCase> {};

TEST_P(CmdlineIntoRecord, StoresWhatTheRowSays) {
    FakeSink sink;
    if (GetParam().prepare) GetParam().prepare(sink.camera);
    sink.parse(GetParam().text);
    GetParam().check(sink.camera);
    EXPECT_THAT(sink.queued, IsEmpty());
    EXPECT_THAT(sink.results, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CmdlineIntoRecord,
    ::testing::Values(
        RecordCase{"ethernet_static",
                   lines_result("GetEthernetSettings",
                                {"static", "10.0.0.5", "255.255.255.0", "10.0.0.1"}),
                   nullptr,
                   [](const CAM_PARAM& c) {
                       EXPECT_TRUE(c.is_static_ip);
                       EXPECT_EQ(c.static_ip, "10.0.0.5");
                       EXPECT_EQ(c.mask, "255.255.255.0");
                       EXPECT_EQ(c.gateway, "10.0.0.1");
                   }},
        RecordCase{
            "ethernet_dhcp",
            lines_result("GetEthernetSettings", {"dhcp", "10.0.0.6", "255.255.0.0", "10.0.0.254"}),
            [](CAM_PARAM& c) { c.is_static_ip = true; },
            [](const CAM_PARAM& c) {
                EXPECT_FALSE(c.is_static_ip);
                EXPECT_EQ(c.static_ip, "10.0.0.6");
                EXPECT_EQ(c.mask, "255.255.0.0");
                EXPECT_EQ(c.gateway, "10.0.0.254");
            }},
        RecordCase{"syslog_on", lines_result("GetSyslogSettings", {"1", "5140", "10.0.0.9"}),
                   nullptr,
                   [](const CAM_PARAM& c) {
                       EXPECT_TRUE(c.enable_log_server);
                       EXPECT_EQ(c.log_server_port, 5140);
                       EXPECT_EQ(c.log_server_ip, "10.0.0.9");
                   }},
        RecordCase{"syslog_empty_port", lines_result("GetSyslogSettings", {"0", "", "10.0.0.8"}),
                   [](CAM_PARAM& c) {
                       c.log_server_port = 514;
                       c.enable_log_server = true;
                   },
                   [](const CAM_PARAM& c) {
                       EXPECT_FALSE(c.enable_log_server);
                       EXPECT_EQ(c.log_server_port, 514);
                       EXPECT_EQ(c.log_server_ip, "10.0.0.8");
                   }},
        RecordCase{"auth_on", lines_result("GetAuthEnable", {"1"}), nullptr,
                   [](const CAM_PARAM& c) { EXPECT_TRUE(c.auth_enabled); }},
        RecordCase{"auth_other", lines_result("GetAuthEnable", {"true"}),
                   [](CAM_PARAM& c) { c.auth_enabled = true; },
                   [](const CAM_PARAM& c) { EXPECT_FALSE(c.auth_enabled); }},
        RecordCase{
            "process_ok",
            cmdline_result("GetProcessList", {{"options", {{"ProcessList", {{"state", "OK"}}}}}}),
            nullptr, [](const CAM_PARAM& c) { EXPECT_TRUE(c.process_ok); }},
        RecordCase{"cpu_usage",
                   cmdline_result("GetCpuUsage", {{"options", {{"CpuUsage", {{"CPU used", 42}}}}}}),
                   nullptr, [](const CAM_PARAM& c) { EXPECT_FLOAT_EQ(c.cpu_usage, 42.0f); }},
        RecordCase{"oem_version_pending", lines_result("SendCmdLine", {"OEM-2.1", "x"}),
                   [](CAM_PARAM& c) { c.oem_version_pending = true; },
                   [](const CAM_PARAM& c) {
                       EXPECT_EQ(c.oem_fw_version, "OEM-2.1");
                       EXPECT_FALSE(c.oem_version_pending);
                   }},
        RecordCase{"oem_version_not_pending", lines_result("SendCmdLine", {"OEM-2.1"}), nullptr,
                   [](const CAM_PARAM& c) { EXPECT_EQ(c.oem_fw_version, ""); }},
        RecordCase{"oem_version_without_response", cmdline_result("SendCmdLine", json::object()),
                   [](CAM_PARAM& c) { c.oem_version_pending = true; },
                   [](const CAM_PARAM& c) { EXPECT_TRUE(c.oem_version_pending); }}));

TEST(CmdlineResults, FailedProcessListLogsTheWholeAnswer) {
    const std::string text =
        cmdline_result("GetProcessList", {{"options", {{"ProcessList", {{"state", "NG"}}}}}});
    FakeSink sink;
    sink.camera.process_ok = true;
    sink.parse(text);
    EXPECT_FALSE(sink.camera.process_ok);
    EXPECT_THAT(sink.logs, ElementsAre("GetProcessList failed: " + text));
    EXPECT_THAT(sink.health_reports, IsEmpty());
}

TEST(CmdlineResults, MemoryUsageCompletesTheHealthReport) {
    FakeSink sink;
    sink.camera.process_ok = true;
    sink.camera.cpu_usage = 7.5f;
    sink.camera.in_preview = true;
    sink.camera.mode = 3;
    sink.parse(cmdline_result("GetMemoryUsage",
                              {{"options", {{"MemoryUsage", {{"Total", 400}, {"used", 100}}}}}}));
    EXPECT_FLOAT_EQ(sink.camera.memory_usage, 25.0f);
    ASSERT_EQ(sink.health_reports.size(), 1u);
    EXPECT_TRUE(sink.health_reports[0].process_ok);
    EXPECT_FLOAT_EQ(sink.health_reports[0].cpu_usage, 7.5f);
    EXPECT_FLOAT_EQ(sink.health_reports[0].memory_usage, 25.0f);
    EXPECT_TRUE(sink.health_reports[0].in_preview);
    EXPECT_EQ(sink.health_reports[0].mode, 3);
}

TEST(CmdlineResults, IncompleteMemoryUsageReportsNothing) {
    for (const json& results :
         {json{{"options", {{"MemoryUsage", {{"Total", 400}}}}}}, json{{"options", json::object()}},
          json{{"options", "MemoryUsage"}}, json::object()}) {
        FakeSink sink;
        sink.parse(cmdline_result("GetMemoryUsage", results));
        EXPECT_THAT(sink.events, IsEmpty()) << results;
        EXPECT_FLOAT_EQ(sink.camera.memory_usage, 0.0f);
    }
}

struct GenerationCase {
    const char* version;
    const char* queued;
};

void PrintTo(const GenerationCase& c, std::ostream* os) {
    *os << c.version;
}

class FwVer1220 : public ::testing::TestWithParam<GenerationCase> {};

TEST_P(FwVer1220, StoresTheVersionAndQueuesExactlyOneFollowUp) {
    FakeSink sink;
    sink.camera.http_port = 8001;
    sink.parse(lines_result("GetFwVer1220", {GetParam().version}));
    EXPECT_EQ(sink.camera.ast1220_ver, GetParam().version);
    EXPECT_THAT(sink.queued, ElementsAre(QueuedCommand{GetParam().queued, 8001}));
}

INSTANTIATE_TEST_SUITE_P(Boundary, FwVer1220,
                         ::testing::Values(GenerationCase{"AST107.3", "GetQPpreview"},
                                           GenerationCase{"AST108.3", "GetQPpreview"},
                                           GenerationCase{"AST109.3", "GetFwVer1220_1230"},
                                           GenerationCase{"AST112.0", "GetFwVer1220_1230"},
                                           GenerationCase{"IMRX_00", "GetFwVer1220_1230"}));

struct QpPreviewCase {
    const char* ast1220_ver;
    int notifications;
};

void PrintTo(const QpPreviewCase& c, std::ostream* os) {
    *os << c.ast1220_ver;
}

class QpPreview : public ::testing::TestWithParam<QpPreviewCase> {};

TEST_P(QpPreview, StoresRateControlAndNotifiesOnlyOlderModules) {
    FakeSink sink;
    sink.camera.ast1220_ver = GetParam().ast1220_ver;
    sink.parse(lines_result("GetQpPreview", {"3500999 45 extra"}));
    EXPECT_EQ(sink.camera.bitrate, 3500);
    EXPECT_EQ(sink.camera.gop, 45);
    EXPECT_TRUE(sink.camera.got_param);
    EXPECT_EQ(sink.parameter_notifications, GetParam().notifications);
}

INSTANTIATE_TEST_SUITE_P(Boundary, QpPreview,
                         ::testing::Values(QpPreviewCase{"AST106.1", 1},
                                           QpPreviewCase{"AST107.1", 1},
                                           QpPreviewCase{"AST108.1", 0},
                                           QpPreviewCase{"AST109.1", 0}));

TEST(CmdlineResults, QpPreviewQueryNameDiffersFromItsAnswerName) {
    FakeSink sink;
    sink.camera.ast1220_ver = "AST107.1";
    sink.parse(lines_result("GetQPpreview", {"4000000 60"}));
    EXPECT_EQ(sink.camera.bitrate, 15) << "answers come back as GetQpPreview";
    EXPECT_FALSE(sink.camera.got_param);
}

TEST(CmdlineResults, GyroAndAccelJoinsTwoLines) {
    FakeSink sink;
    sink.parse(lines_result("GetGyroAndAccel", {"a", "b", "c"}));
    EXPECT_THAT(sink.results, ElementsAre(ReportedResult{"GetGyroAndAccel", true, "a;b"}));
}

TEST(CmdlineResults, GyroAndAccelWithoutDataSaysSo) {
    for (const json& response : {json::array(), json("a;b"), json::object()}) {
        FakeSink sink;
        sink.parse(cmdline_result("GetGyroAndAccel", {{"response", response}}));
        EXPECT_THAT(sink.results, ElementsAre(ReportedResult{"GetGyroAndAccel", false, "No data."}))
            << response;
    }
}

TEST(CmdlineResults, GyroAndAccelWithoutResponseReportsNothing) {
    FakeSink sink;
    sink.parse(cmdline_result("GetGyroAndAccel", json::object()));
    EXPECT_THAT(sink.events, IsEmpty());
}

TEST(CmdlineResults, IgnoredFunctionsAndShapesChangeNothing) {
    const std::vector<std::string> texts = {
        lines_result("GetAst1230UsbList", {"bus 1"}),
        lines_result("GetFwVer1220_1230", {"AST109.3"}),
        lines_result("getAuthEnable", {"1"}),
        R"({"name":"camera._cmdLine","func":"GetAuthEnable","results":["1"]})",
        R"({"name":"camera._cmdLine","func":"GetAuthEnable"})",
    };
    for (const auto& text : texts) {
        FakeSink sink;
        sink.parse(text);
        EXPECT_THAT(sink.events, IsEmpty()) << text;
        EXPECT_FALSE(sink.camera.auth_enabled) << text;
        EXPECT_EQ(sink.camera.ast1220_ver, "") << text;
    }
}

}  // namespace
}  // namespace responses_test
