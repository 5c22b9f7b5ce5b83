/*
 * A host written in plain C99: the public header is valid C, the library
 * links from C, and without a client library the calls are accepted and the
 * stored-value queries still answer on the calling thread.
 *
 *   c_host <directory that holds no client library>
 */
#include <stdio.h>
#include <string.h>

#include "IVeskOSCHandlerInst.h"

static int param_reports = 0;
static int health_reports = 0;

static void on_camera_param(const char* ip, const char* json) {
    param_reports += strcmp(ip, "10.0.0.5") == 0 && strstr(json, "\"got_param\":false") != NULL;
}
static void on_health_usage(const char* ip, bool process_ok, float cpu, float memory,
                            bool in_preview, int mode) {
    health_reports += strcmp(ip, "10.0.0.5") == 0 && !process_ok && cpu == 0.0f && memory == 0.0f &&
                      !in_preview && mode == 0;
}

#define CHECK(condition)                                                                    \
    do {                                                                                    \
        if (!(condition)) {                                                                 \
            fprintf(stderr, "c_host: check failed at line %d: %s\n", __LINE__, #condition); \
            return 1;                                                                       \
        }                                                                                   \
    } while (0)

int main(int argc, char** argv) {
    video_layout_format layout;
    CHECK(sizeof(video_layout_format) == 266 && offsetof(video_layout_format, roiParam) == 11);
    CHECK(Init(argc > 1 ? argv[1] : "/nonexistent") == m_inst && m_inst != NULL);
    SetDataCallback(NULL, on_camera_param, NULL, on_health_usage);
    memset(&layout, 0, sizeof layout);
    layout.roiNum = 1;
    SetROI("10.0.0.5", 8080, layout);
    SetPreviewFormat2("10.0.0.5", 8080, 1280, 720, "h264", 30, 4000, 30);
    EnableAuth("10.0.0.5", 8080, true);
    CHECK(!RemoveCachedDevice("10.0.0.5"));
    GetCameraHealthAndUsage_stored("10.0.0.5", 8080);
    GetCameraParams("10.0.0.5");
    CHECK(param_reports == 1 && health_reports == 1);
    Destroy();
    printf("c_host: ok\n");
    return 0;
}
