// The one handler object behind the exported C functions: camera entries and
// their worker slots, the client library binding and the host's callbacks.
//
// Locks, always taken in this order when nested:
//   m_entryMutex -> m_cmdMutex[slot] -> m_camerasMutex -> a camera's record lock.
// Each is held only to read or change what it guards: never across a host
// callback (a callback may call any operation but Destroy), a call into the
// client library, or the wait for a worker to end.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <thread>
#include <unordered_map>

#include "IVeskOSCHandlerInst.h"
#include "IVeskOSCTexts.h"
#include "IVeskOSC_Tendra.h"
#include "model/cam_param.h"
#include "workers/camera_entry.h"
#include "workers/command_translation.h"
#include "workers/timings.h"

inline constexpr int kSlotCount = 100;
// Slot 99 is never handed out: at most 99 cameras.
inline constexpr int kMaxCameras = osc_texts::kMaxCameras;

struct QueuedCommand {
    std::string name;
    int port = 0;
};

class HandlerResponseSink;
struct HandlerTestAccess;

class OSCAPIHANDLER {
public:
    explicit OSCAPIHANDLER(const char* libDir);
    ~OSCAPIHANDLER();
    OSCAPIHANDLER(const OSCAPIHANDLER&) = delete;
    OSCAPIHANDLER& operator=(const OSCAPIHANDLER&) = delete;

    // Host callbacks
    void SetDataCallback(DeviceListCallback device_list, CameraParamCallback camera_param,
                         CommandResultCallback command_result, HealthUsageCallback health_usage);
    void SetFWUpdateCallback(FWUpdateResultCallback result, FWUpdateProgressCallback progress);
    void SetRebootStateCallback(RebootStateCallback reboot_state);
    void SetLogCallback(LogCallback log);

    // Discovery
    void ScanSupportDevices();
    bool RemoveCachedDevice(const char* ip);

    // Picture settings
    void SetMode(const char* ip, int port, int mode);
    void GetMode(const char* ip, int port);
    void SetBrightness(const char* ip, int port, int value);
    void SetContrast(const char* ip, int port, int value);
    void SetSaturation(const char* ip, int port, int value);
    void SetAWB(const char* ip, int port, int value);
    void SetAutoAWB(const char* ip, int port, int value);
    void SetSharpness(const char* ip, int port, int value);
    void SetAntiFlicker(const char* ip, int port, int value);
    void SetWDRValue(const char* ip, int port, int value);
    void SetHDRValue(const char* ip, int port, int value);
    void SetBitrate(const char* ip, int port, int value);
    void SetTiltShift(const char* ip, int port, int value);

    // Streaming, preview format and regions of interest
    void StartStreaming(const char* ip, int port);
    void GetROI(const char* ip, int port);
    void SetROI(const char* ip, int port, const video_layout_format& layout);
    void SetROI_Json(const char* ip, int port, const char* json);
    void SetVerticalFlip(const char* ip, int port, bool flip);
    void SetPreviewFormat(const char* ip, int port, int width, int height);
    void SetPreviewFormat2(const char* ip, int port, int width, int height, const char* encode_type,
                           int framerate, int bitrate, int gop);

    // Firmware
    void Update1220Firmware(const char* ip, int port, const char* file);
    void Update1230Firmware(const char* ip, int port, const char* file1, const char* file2,
                            const char* file3);
    void UpdateFirmwareAll(const char* ip, int port, const char* file1_1230, const char* file2_1230,
                           const char* file3_1230, const char* file_1220);
    void GetUpdateProgress(const char* ip, int port);

    // Network, system and diagnostics
    void SetStaticIP(const char* ip, int port, const char* static_ip, const char* gateway,
                     const char* mask);
    void SetDHCP(const char* ip, int port);
    void SaveParam(const char* ip, int port);
    void GetVersion(const char* ip, int port);
    void RebootCamera(const char* ip, int port);
    void GetCameraHealthAndUsage(const char* ip, int port);
    void GetCameraHealthAndUsage_stored(const char* ip, int port);
    void GetGyroAndAccel(const char* ip, int port);
    void TakeScreenShot(const char* ip, int port);
    void SetSyslogEnable(const char* ip, int port, const char* server, int server_port, int enable);
    void EnableGyro(const char* ip, int port, bool enable);
    void EnableAuth(const char* ip, int port, bool enable);
    void SetCameraPorts(const char* ip, int port, int http_port, int https_port, int rtsp_port);
    void SendCmdLine(const char* ip, int port, const char* cmdline);

    // Settings queries
    void GetCameraSettings(const char* ip, int port, bool force);
    void GetCameraParams(const char* ip);

    // Entry points of the client library's callbacks (its threads).
    void _on_receive_osccallback(const char* response, const char* ip, int error);
    void _on_receive_mdns_result(const char** entries, int count);

    // Writes one log line to the host's log callback, or to standard output.
    void _put_log(const std::string& line);

private:
    friend class HandlerResponseSink;
    friend struct HandlerTestAccess;

    // Client library binding
    bool _loadOscAPILib(const char* libDir);
    void _releaseOscAPILib();

    // Camera entries and slots
    void _ensure_camera_entry_exits(const char* ip, int port);
    CameraEntryPtr _find_camera(const std::string& ip) const;
    CameraEntryPtr _find_or_insert_camera(const std::string& ip);
    int _search_free_slot();
    void _start_worker(const std::string& ip, int slot);

    // Command submission: the camera to store into, or null when the operation
    // must do nothing (no client library, no free slot).
    CameraEntryPtr _camera_for_command(const char* ip);
    void _queue_commands(const CameraEntry& camera, int port,
                         std::initializer_list<const char*> names);
    void _store_and_queue(const char* ip, int port, int CAM_PARAM::*field, int value,
                          const char* command);
    void _queue_only(const char* ip, int port, const char* command);

    // Worker
    // Appends to the slot's queue and wakes its idle worker; the caller holds
    // m_cmdMutex[slot].
    void _push_command(int slot, QueuedCommand command);
    // Asks the slot's worker to end and wakes it if idle.
    void _request_worker_stop(int slot);
    void _camera_worker_thread(std::string ip, int slot);
    void _wait_for_next_pass(int slot, int& idle_passes);
    // Makes the client call for the command at the front of the slot's
    // queue (without the queue lock) and says which pause follows.
    PauseAfter _send_front_command(const std::string& ip, int slot, const QueuedCommand& command);
    void _pause(const char* what, int slot, const std::string& ip,
                std::chrono::milliseconds duration);

    // Answers
    void _handle_failed_request(const char* response, const std::string& ip, CameraEntry& camera,
                                int slot);
    void _parse_osc_response(const char* response, const char* ip, std::string ip_copy);

    // Reports
    void _notify_camera_parameters(const char* ip);
    void _notify_camera_rois(const char* ip);

    void* m_hOscLib = nullptr;
    std::unique_ptr<IVeskOSC_Tendra> m_pOscAPI;
    std::unordered_map<std::string, CameraEntryPtr> m_cameras;
    mutable std::shared_mutex m_camerasMutex;
    std::array<std::deque<QueuedCommand>, kSlotCount> m_cmdQueue;
    // One per slot: guards the slot's queue. Only the slot's worker takes
    // from the queue; operations and follow-ups append to it.
    std::array<std::mutex, kSlotCount> m_cmdMutex;
    // Signalled when a queue gains a command or its worker must stop; wakes
    // an idle worker and ends a pause early on stop.
    std::array<std::condition_variable, kSlotCount> m_cmdWake;
    std::array<std::thread, kSlotCount> m_worker;
    std::array<std::atomic<bool>, kSlotCount> m_cmdReady;
    std::array<std::atomic<bool>, kSlotCount> m_workerRunning;
    std::array<std::atomic<bool>, kSlotCount> m_workerStop;
    std::array<std::atomic<bool>, kSlotCount> m_skipAll;
    // Guards entry creation and removal, the slot search and the thread
    // objects in m_worker.
    std::mutex m_entryMutex;
    bool m_shuttingDown = false;  // guarded by m_entryMutex: no new workers once set
    std::atomic<DeviceListCallback> m_cbDeviceList{nullptr};
    std::atomic<CameraParamCallback> m_cbCameraParam{nullptr};
    std::atomic<HealthUsageCallback> m_cbHealthUsage{nullptr};
    std::atomic<FWUpdateResultCallback> m_cbFWResult{nullptr};
    std::atomic<FWUpdateProgressCallback> m_cbFWProgress{nullptr};
    std::atomic<RebootStateCallback> m_cbRebootState{nullptr};
    std::atomic<CommandResultCallback> m_cbCommandResult{nullptr};
    std::atomic<LogCallback> m_cbLog{nullptr};
    std::atomic<bool> m_roiRequested{false};
    const WorkerTimings m_timings;
};
