// Network setup, persistence, reboot, versions, health, sensors, screenshot and
// raw command lines.
#include <thread>

#include "commands/operation_cases.h"

namespace commands_test {

namespace {

// Commands that store nothing but the port.
OperationCase port_only(const char* function, void (*fn)(const char*, int), const char* queued) {
    return operation(function, [fn](const char* ip, int port) { fn(ip, port); })
        .queues({queued})
        .reports({{"http_port", kPort}})
        .sends({std::string(queued) + "(10.0.0.5, 8081)"});
}

OperationCase syslog(const char* name, int enable, bool enabled_before, bool stored) {
    return operation(name,
                     [enable](const char* ip, int port) {
                         SetSyslogEnable(ip, port, "10.0.0.2", 514, enable);
                     })
        .given([enabled_before](CAM_PARAM& r) { r.enable_log_server = enabled_before; })
        .queues({"SetSyslogEnable"})
        .reports({{"log_server_ip", "10.0.0.2"},
                  {"log_server_port", 514},
                  {"enable_log_server", stored},
                  {"http_port", kPort}})
        .sends({std::string("SetSyslogEnable(10.0.0.5, 10.0.0.2, 514, ") + (stored ? "1" : "0") +
                ", 8081)"});
}

OperationCase auth(const char* name, bool enable) {
    return operation(name, [enable](const char* ip, int port) { EnableAuth(ip, port, enable); })
        .given([enable](CAM_PARAM& r) { r.auth_enabled = !enable; })
        .queues({"SetAuthEnable"})
        .reports({{"auth_enabled", enable}, {"http_port", kPort}})
        .sends({std::string("SetAuthEnable(10.0.0.5, ") + (enable ? "true" : "false") + ", 8081)"});
}

}  // namespace

std::vector<OperationCase> network_system_cases() {
    return {
        // The static-address flag is the camera's to report, not ours to set.
        operation("SetStaticIP",
                  [](const char* ip, int port) {
                      SetStaticIP(ip, port, "192.168.10.20", "192.168.10.1", "255.255.255.0");
                  })
            .queues({"SetStaticIp"})
            .reports({{"static_ip", "192.168.10.20"},
                      {"gateway", "192.168.10.1"},
                      {"mask", "255.255.255.0"},
                      {"http_port", kPort}})
            .sends({"SetStaticIp(10.0.0.5, 192.168.10.20, 192.168.10.1, 255.255.255.0, 8081)"}),
        port_only("SetDHCP", &SetDHCP, "SetDhcp").given([](CAM_PARAM& r) {
            r.is_static_ip = true;
            r.static_ip = "192.168.10.20";
        }),
        port_only("SaveParam", &SaveParam, "AstParamRwSave"),
        port_only("GetIMRXVersion", &GetIMRXVersion, "GetFwVer1220_1230")
            .given([](CAM_PARAM& r) { r.got_param = true; })
            .stores([](const CAM_PARAM& r) {
                EXPECT_TRUE(r.version_query_pending);
                EXPECT_TRUE(r.got_param);
            }),
        port_only("RebootCamera", &RebootCamera, "Reboot")
            .given([](CAM_PARAM& r) { r.got_param = true; })
            .reports({{"got_param", false}, {"http_port", kPort}}),
        port_only("GetCameraHealthAndUsage", &GetCameraHealthAndUsage, "GetCameraState"),
        syslog("SetSyslogEnable_1", 1, false, true),
        syslog("SetSyslogEnable_7", 7, false, true),
        syslog("SetSyslogEnable_minus_1", -1, false, true),
        syslog("SetSyslogEnable_0", 0, true, false),
        operation("EnableGyro_on", [](const char* ip, int port) { EnableGyro(ip, port, true); })
            .queues({"EnableGyro"})
            .reports({{"http_port", kPort}})
            .sends({"EnableGyro(10.0.0.5, 8081)"}),
        operation("EnableGyro_off", [](const char* ip, int port) { EnableGyro(ip, port, false); })
            .queues({"DisableGyro"})
            .reports({{"http_port", kPort}})
            .sends({"DisableGyro(10.0.0.5, 8081)"}),
        port_only("GetGyroAndAccel", &GetGyroAndAccel, "GetGyroAndAccel"),
        auth("EnableAuth_on", true),
        auth("EnableAuth_off", false),
        // The new ports are stored; the command itself still goes to the old one.
        operation("SetCameraPorts",
                  [](const char* ip, int port) { SetCameraPorts(ip, port, 80, 8443, 8554); })
            .queues({"SetCameraPorts"})
            .reports({{"http_port", 80}, {"https_port", 8443}, {"rtsp_port", 8554}})
            .sends({"SetCameraPorts(10.0.0.5, 80, 8443, 8554, 8081)"}),
        port_only("TakeScreenShot", &TakeScreenShot, "TakeScreenShot"),
        operation("SendCmdLine",
                  [](const char* ip, int port) {
                      m_inst->SendCmdLine(ip, port, "ast_param g version:all_firmware:version");
                  })
            .queues({"SendCmdLine"})
            .reports({{"http_port", kPort}})
            .stores([](const CAM_PARAM& r) {
                EXPECT_EQ(r.cmdline, "ast_param g version:all_firmware:version");
            })
            .sends({"SendCmdLine(10.0.0.5, ast_param g version:all_firmware:version, 8081)"}),
    };
}

INSTANTIATE_TEST_SUITE_P(NetworkSystem, OperationSubmission,
                         testing::ValuesIn(network_system_cases()), case_name);
INSTANTIATE_TEST_SUITE_P(NetworkSystem, OperationWithoutClientLibrary,
                         testing::ValuesIn(network_system_cases()), case_name);

namespace {

using NetworkSystem = HandlerTest;

TEST_F(NetworkSystem, NewPortsTravelToTheOldPortAndLaterFollowUpsUseTheNewOne) {
    add_held_camera(kIp);
    Access::edit(kIp, [](CAM_PARAM& r) {
        r.https_port = 1443;
        r.rtsp_port = 1554;
    });
    SetCameraPorts(kIp, 8080, 80, 443, 554);
    const auto record = Access::record(kIp);
    EXPECT_EQ(record->http_port, 80);
    EXPECT_EQ(record->https_port, 443);
    EXPECT_EQ(record->rtsp_port, 554);
    EXPECT_EQ(Access::queued(kIp),
              (std::vector<std::pair<std::string, int>>{{"SetCameraPorts", 8080}}));

    // A device answer that asks for a follow-up; it also releases the worker.
    Access::deliver(R"({"manufaturer":"Northwind Imaging","model":"M3VX27164",)"
                    R"("_chipId":"0x5A17","serialNumber":"NW-000417"})",
                    kIp, 0);
    ASSERT_TRUE(client().wait_for_call("SendCmdLine(", kExchangeTimeout));
    EXPECT_EQ(calls_for(kIp), (std::vector<std::string>{
                                  "SetCameraPorts(10.0.0.5, 80, 443, 554, 8080)",
                                  "SendCmdLine(10.0.0.5, ast_param g version:ruvo:version, 80)"}));
}

TEST_F(NetworkSystem, StoredHealthAnswersAtOnceFromTheRecord) {
    add_held_camera(kIp);
    Access::edit(kIp, [](CAM_PARAM& r) {
        r.process_ok = true;
        r.cpu_usage = 12.5f;
        r.memory_usage = 48.25f;
        r.in_preview = true;
        r.mode = 3;
    });
    GetCameraHealthAndUsage_stored(kIp, 9999);
    const auto health = events().health();
    ASSERT_EQ(health.size(), 1u);
    EXPECT_EQ(health[0].ip, kIp);
    EXPECT_TRUE(health[0].process_ok);
    EXPECT_EQ(health[0].cpu, 12.5f);
    EXPECT_EQ(health[0].memory, 48.25f);
    EXPECT_TRUE(health[0].in_preview);
    EXPECT_EQ(health[0].mode, 3);
    EXPECT_TRUE(Access::queued(kIp).empty());
    EXPECT_EQ(Access::record(kIp)->http_port, 8080);
}

TEST_F(NetworkSystem, StoredHealthOfAnUnknownCameraIsTheDefaultsAndMakesNoEntry) {
    GetCameraHealthAndUsage_stored("10.0.0.77", 8081);
    const auto health = events().health();
    ASSERT_EQ(health.size(), 1u);
    EXPECT_EQ(health[0].ip, "10.0.0.77");
    EXPECT_FALSE(health[0].process_ok);
    EXPECT_EQ(health[0].cpu, 0.0f);
    EXPECT_EQ(health[0].memory, 0.0f);
    EXPECT_FALSE(health[0].in_preview);
    EXPECT_EQ(health[0].mode, 0);
    EXPECT_EQ(Access::camera_count(), 0u);
    EXPECT_FALSE(Access::running(0));
    EXPECT_EQ(client().call_count(), 0u);
}

std::thread::id g_health_thread;
void note_health_thread(const char*, bool, float, float, bool, int) {
    g_health_thread = std::this_thread::get_id();
}

TEST_F(NetworkSystem, StoredHealthIsReportedOnTheCallersThread) {
    SetDataCallback(nullptr, nullptr, nullptr, &note_health_thread);
    g_health_thread = std::thread::id();
    GetCameraHealthAndUsage_stored(kIp, kPort);
    EXPECT_EQ(g_health_thread, std::this_thread::get_id());
}

}  // namespace
}  // namespace commands_test
