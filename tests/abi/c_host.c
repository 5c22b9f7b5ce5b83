/*
 * A host written in plain C99: proves that the public header is valid C, that
 * the library links from C, and that without a client library every camera
 * call is accepted and does nothing (the stored-value queries still answer).
 *
 *   c_host <directory that holds no client library>
 */
#include <stdio.h>
#include <string.h>

#include "IVeskOSCHandlerInst.h"

static int callbacks_seen = 0;
static int log_lines = 0;
static int health_reports = 0;
static bool health_was_default = false;
static int param_reports = 0;
static bool param_was_default = false;

static void on_device_list(const char* list) {
    (void)list;
    ++callbacks_seen;
}
static void on_camera_param(const char* ip, const char* json) {
    ++callbacks_seen;
    ++param_reports;
    param_was_default =
        strcmp(ip, "10.0.0.5") == 0 && json[0] == '{' && strstr(json, "\"got_param\":false");
}
static void on_command_result(const char* ip, const char* command, bool ok, const char* message) {
    (void)ip;
    (void)command;
    (void)ok;
    (void)message;
    ++callbacks_seen;
}
static void on_health_usage(const char* ip, bool process_ok, float cpu_usage, float memory_usage,
                            bool in_preview, int mode) {
    ++callbacks_seen;
    ++health_reports;
    health_was_default = strcmp(ip, "10.0.0.5") == 0 && !process_ok && cpu_usage == 0.0f &&
                         memory_usage == 0.0f && !in_preview && mode == 0;
}
static void on_fw_result(const char* ip, bool ok) {
    (void)ip;
    (void)ok;
    ++callbacks_seen;
}
static void on_fw_progress(const char* ip, const char* text, int value) {
    (void)ip;
    (void)text;
    (void)value;
    ++callbacks_seen;
}
static void on_reboot_state(const char* ip, bool state) {
    (void)ip;
    (void)state;
    ++callbacks_seen;
}
static void on_log(const char* line) {
    printf("log: %s\n", line);
    ++log_lines;
}

#define CHECK(condition)                                                                    \
    do {                                                                                    \
        if (!(condition)) {                                                                 \
            fprintf(stderr, "c_host: check failed at line %d: %s\n", __LINE__, #condition); \
            return 1;                                                                       \
        }                                                                                   \
    } while (0)

static void call_camera_functions(const char* ip, int port) {
    video_layout_format layout;
    memset(&layout, 0, sizeof layout);
    layout.srcWidth = 3840;
    layout.srcHeight = 1920;
    layout.dstWidth = 1920;
    layout.dstHeight = 1080;
    layout.roiNum = 1;
    layout.roiParam[0].dstW = 1920;
    layout.roiParam[0].dstH = 1080;

    ScanSupportDevices();
    SetBrightness(ip, port, 40);
    SetMode(ip, port, 1);
    GetMode(ip, port);
    StartStreaming(ip, port);
    SetROI(ip, port, layout);
    SetPreviewFormat2(ip, port, 1280, 720, "h264", 30, 4000, 30);
    Update1230Firmware(ip, port, "a.bin", "b.bin", "c.bin");
    SetStaticIP(ip, port, "10.0.0.9", "10.0.0.1", "255.255.255.0");
    SetSyslogEnable(ip, port, "10.0.0.2", 514, 1);
    EnableAuth(ip, port, true);
    RebootCamera(ip, port);
    GetCameraSettings(ip, port, true);
}

int main(int argc, char** argv) {
    const char* empty_dir = argc > 1 ? argv[1] : "/nonexistent";
    OSCAPIHANDLER* handler;

    CHECK(sizeof(video_layout_format) == 266);
    CHECK(sizeof(video_roi_param) == 17);
    CHECK(offsetof(video_layout_format, roiParam) == 11);

    handler = Init(empty_dir);
    CHECK(handler != NULL);
    CHECK(m_inst == handler);

    SetDataCallback(on_device_list, on_camera_param, on_command_result, on_health_usage);
    SetFWUpdateCallback(on_fw_result, on_fw_progress);
    SetRebootStateCallback(on_reboot_state);
    SetLogCallback(on_log);

    call_camera_functions("10.0.0.5", 8080);
    CHECK(callbacks_seen == 0);
    CHECK(log_lines == 0);
    /* Without a client no camera gets an entry. */
    CHECK(!RemoveCachedDevice("10.0.0.5"));

    /* The two stored queries answer on the calling thread even without a
     * client; an unknown camera reports defaults (and GetCameraParams's lookup
     * leaves a default entry behind, so it comes last). */
    GetCameraHealthAndUsage_stored("10.0.0.5", 8080);
    CHECK(health_reports == 1);
    CHECK(health_was_default);
    GetCameraParams("10.0.0.5");
    CHECK(param_reports == 1);
    CHECK(param_was_default);
    CHECK(callbacks_seen == 2);

    Destroy();
    printf("c_host: ok\n");
    return 0;
}
