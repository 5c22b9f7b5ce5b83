/*
 * IVeskOSCHandlerInst: the host interface of the camera fleet handler.
 *
 * Threading contract
 * - Every function may be called from any host thread. None blocks on a
 *   camera: a camera operation stores its values, queues a command for that
 *   camera's worker thread and returns at once. Results arrive later through
 *   the callbacks below.
 * - Callbacks run on the client library's threads (answers, discovery), on a
 *   camera's worker thread (log lines) or, for GetCameraParams and
 *   GetCameraHealthAndUsage_stored, on the calling thread. They must be
 *   thread-safe. String arguments are valid only during the call.
 * - Set the callbacks right after Init, before any camera operation.
 * - Any function but Destroy may be called from inside any callback, for the
 *   same camera or another: the handler holds none of its locks while a
 *   callback runs.
 * - No callback runs after Destroy has returned. Do not call Destroy from
 *   inside a callback.
 *
 * Cameras are named by their IPv4 address text, used exactly as given (no
 * normalisation), and their HTTP port.
 */
#ifndef IVESKOSCHANDLERINST_H
#define IVESKOSCHANDLERINST_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__) || defined(__clang__)
#define IVESKOSC_API __attribute__((visibility("default")))
#else
#define IVESKOSC_API
#endif

#ifdef __cplusplus
#include <atomic>
class OSCAPIHANDLER;
extern "C" {
#else
typedef struct OSCAPIHANDLER OSCAPIHANDLER;
#endif

/* ---- Region-of-interest layout: byte-packed, 266 bytes, native byte order */

#define VIDEO_LAYOUT_MAX_ROI 15

#pragma pack(push, 1)
typedef struct video_roi_param {
    uint16_t srcX;
    uint16_t srcY;
    uint16_t srcW;
    uint16_t srcH; /* as stored; perspective regions are recomputed in reports */
    uint16_t dstX;
    uint16_t dstY;
    uint16_t dstW;
    uint16_t dstH;
    uint8_t projection; /* 1 = perspective (rectilinear) region */
} video_roi_param;

typedef struct video_layout_format {
    uint16_t srcWidth;
    uint16_t srcHeight;
    uint16_t dstWidth;
    uint16_t dstHeight;
    uint8_t roiNum; /* valid entries in roiParam */
    uint8_t roi_reserved[2];
    video_roi_param roiParam[VIDEO_LAYOUT_MAX_ROI];
} video_layout_format;
#pragma pack(pop)

/* The layout crosses the interface by value: its size and offsets are ABI. */
#define IVESKOSC_LAYOUT_CHECK(name, cond) typedef char ivesk_layout_check_##name[(cond) ? 1 : -1]
IVESKOSC_LAYOUT_CHECK(roi_size, sizeof(video_roi_param) == 17);
IVESKOSC_LAYOUT_CHECK(roi_projection, offsetof(video_roi_param, projection) == 16);
IVESKOSC_LAYOUT_CHECK(layout_size, sizeof(video_layout_format) == 266);
IVESKOSC_LAYOUT_CHECK(layout_dst_height, offsetof(video_layout_format, dstHeight) == 6);
IVESKOSC_LAYOUT_CHECK(layout_roi_num, offsetof(video_layout_format, roiNum) == 8);
IVESKOSC_LAYOUT_CHECK(layout_reserved, offsetof(video_layout_format, roi_reserved) == 9);
IVESKOSC_LAYOUT_CHECK(layout_roi_param, offsetof(video_layout_format, roiParam) == 11);
#undef IVESKOSC_LAYOUT_CHECK

/* ---- Host callbacks */

/* "ip:port;" for every known camera, after each discovery result. */
typedef void (*DeviceListCallback)(const char* list);
/* The camera's parameter document: compact JSON, keys in byte order. */
typedef void (*CameraParamCallback)(const char* ip, const char* json);
/* Outcome of a command, named by the exported function it belongs to. The
 * ROI layout document arrives here too, under "GetROI" with ok true: it has
 * no callback of its own and does not come through CameraParamCallback. */
typedef void (*CommandResultCallback)(const char* ip, const char* command, bool ok,
                                      const char* message);
typedef void (*HealthUsageCallback)(const char* ip, bool process_ok, float cpu_usage,
                                    float memory_usage, bool in_preview, int mode);
/* Upload confirmed: true for the firmware image, false for an update script. */
typedef void (*FWUpdateResultCallback)(const char* ip, bool ok);
typedef void (*FWUpdateProgressCallback)(const char* ip, const char* text, int value);
typedef void (*RebootStateCallback)(const char* ip, bool state);
typedef void (*LogCallback)(const char* line);

/* ---- Exported data */

/* The one handler, made by Init. */
IVESKOSC_API extern OSCAPIHANDLER* m_inst;
/* Slot chosen by the last slot search; informational, written atomically. */
#ifdef __cplusplus
IVESKOSC_API extern std::atomic<int32_t> current_operating_idx;
#else
IVESKOSC_API extern int32_t current_operating_idx;
#endif

/* ---- Lifecycle and callbacks */

/* Opens libDir/libVesk_OSC.dylib (or ./libVesk_OSC.dylib when libDir is
 * NULL or empty) and returns the handler, also when that fails. It prints
 * "Vesk_OSC.dll loading success" or "... failed" on standard output, nothing
 * more: to find out why, check that the file exists in libDir and that its
 * own dependencies load (ldd, otool -L). After a failed load every camera
 * call, discovery included, does nothing: no command, no callback, no log
 * line; RemoveCachedDevice returns false; Destroy works as usual. */
IVESKOSC_API OSCAPIHANDLER* Init(const char* libDir);
/* Stops and joins every camera worker and releases the client library.
 * Returns promptly in every state: a worker pausing after a reboot or a port
 * change stops at once, and the client library ends every exchange. */
IVESKOSC_API void Destroy(void);
IVESKOSC_API void SetDataCallback(DeviceListCallback device_list, CameraParamCallback camera_param,
                                  CommandResultCallback command_result,
                                  HealthUsageCallback health_usage);
IVESKOSC_API void SetFWUpdateCallback(FWUpdateResultCallback result,
                                      FWUpdateProgressCallback progress);
IVESKOSC_API void SetRebootStateCallback(RebootStateCallback reboot_state);
IVESKOSC_API void SetLogCallback(LogCallback log);

/* ---- Discovery */

IVESKOSC_API void ScanSupportDevices(void);
/* Stops the camera's worker and forgets it, dropping what is queued for it;
 * false when the IP is unknown. Returns promptly, also during a pause. */
IVESKOSC_API bool RemoveCachedDevice(const char* ip);

/* ---- Picture settings */

IVESKOSC_API void SetMode(const char* ip, int port, int mode);
IVESKOSC_API void GetMode(const char* ip, int port);
IVESKOSC_API void SetBrightness(const char* ip, int port, int value);
IVESKOSC_API void SetContrast(const char* ip, int port, int value);
IVESKOSC_API void SetSaturation(const char* ip, int port, int value);
IVESKOSC_API void SetAWB(const char* ip, int port, int value);
IVESKOSC_API void SetAutoAWB(const char* ip, int port, int value);
IVESKOSC_API void SetSharpness(const char* ip, int port, int value);
IVESKOSC_API void SetAntiFlicker(const char* ip, int port, int value);
IVESKOSC_API void SetWDRValue(const char* ip, int port, int value);
IVESKOSC_API void SetHDRValue(const char* ip, int port, int value);
IVESKOSC_API void SetBitrate(const char* ip, int port, int value);
IVESKOSC_API void SetTiltShift(const char* ip, int port, int value);

/* ---- Streaming, preview format and regions of interest */

IVESKOSC_API void StartStreaming(const char* ip, int port);
IVESKOSC_API void GetROI(const char* ip, int port);
IVESKOSC_API void SetROI(const char* ip, int port, video_layout_format layout);
IVESKOSC_API void SetROI_Json(const char* ip, int port, const char* json);
IVESKOSC_API void SetVerticalFlip(const char* ip, int port, bool flip);
IVESKOSC_API void SetPreviewFormat(const char* ip, int port, int width, int height);
IVESKOSC_API void SetPreviewFormat2(const char* ip, int port, int width, int height,
                                    const char* encode_type, int framerate, int bitrate, int gop);

/* ---- Firmware */

IVESKOSC_API void Update1220Firmware(const char* ip, int port, const char* file);
IVESKOSC_API void Update1230Firmware(const char* ip, int port, const char* file1, const char* file2,
                                     const char* file3);
/* The three 1230 files first, the 1220 file last. */
IVESKOSC_API void UpdateFirmwareAll(const char* ip, int port, const char* file1_1230,
                                    const char* file2_1230, const char* file3_1230,
                                    const char* file_1220);
IVESKOSC_API void GetUpdateProgress(const char* ip, int port);

/* ---- Network, system and diagnostics */

IVESKOSC_API void SetStaticIP(const char* ip, int port, const char* static_ip, const char* gateway,
                              const char* mask);
IVESKOSC_API void SetDHCP(const char* ip, int port);
IVESKOSC_API void SaveParam(const char* ip, int port);
IVESKOSC_API void GetIMRXVersion(const char* ip, int port);
IVESKOSC_API void RebootCamera(const char* ip, int port);
IVESKOSC_API void GetCameraHealthAndUsage(const char* ip, int port);
/* Answers at once, on the calling thread, from the stored values. */
IVESKOSC_API void GetCameraHealthAndUsage_stored(const char* ip, int port);
IVESKOSC_API void GetGyroAndAccel(const char* ip, int port);
IVESKOSC_API void TakeScreenShot(const char* ip, int port);
IVESKOSC_API void SetSyslogEnable(const char* ip, int port, const char* server, int server_port,
                                  int enable);
IVESKOSC_API void EnableGyro(const char* ip, int port, bool enable);
IVESKOSC_API void EnableAuth(const char* ip, int port, bool enable);
IVESKOSC_API void SetCameraPorts(const char* ip, int port, int http_port, int https_port,
                                 int rtsp_port);

/* ---- Settings queries */

/* Fetches the full parameter document, or reports the cached one when it is
 * complete and force is false. */
IVESKOSC_API void GetCameraSettings(const char* ip, int port, bool force);
/* Reports the cached parameter document at once, on the calling thread. */
IVESKOSC_API void GetCameraParams(const char* ip);

#ifdef __cplusplus
}
#endif

#endif /* IVESKOSCHANDLERINST_H */
