// The camera client: every IVeskOSC_Tendra operation queues one request (or
// one firmware job) for its camera and returns; answers come back through the
// registered callbacks on the client's one transfer thread.
#pragma once

#include <atomic>
#include <string>

#include <nlohmann/json.hpp>

#include "IVeskOSC_Tendra.h"
#include "client/camera_dispatcher.h"
#include "client/client_options.h"
#include "client/discovery.h"
#include "client/request.h"

namespace oscclient {

struct FirmwarePlan;

class OscClient final : public IVeskOSC_Tendra {
public:
    explicit OscClient(ClientOptions options);
    // Stops discovery, drops queued requests, ends running ones with a
    // failure and joins every thread: no callback runs once it returns.
    ~OscClient() override;

    int ScanDevices() override;
    int SetMdnsCallback(MdnsResultCallback callback) override;
    int SetOscCallback(OscResponseCallback callback) override;
    int GetOptionsAll(const char* ip, int port) override;
    int SetBrightness(const char* ip, int value, int port) override;
    int SetContrast(const char* ip, int value, int port) override;
    int SetSaturation(const char* ip, int value, int port) override;
    int SetAWB(const char* ip, int value, int port) override;
    int SetAutoAWB(const char* ip, int value, int port) override;
    int SetSharpness(const char* ip, int value, int port) override;
    int SetAntiFlicker(const char* ip, int value, int port) override;
    int SetStreamParam(const char* ip, int width, int height, int zero, int framerate,
                       int port) override;
    int SetMainStreamFormat(const char* ip, int width, int height, int zero, int framerate,
                            int framerate2, int bitrate, int gop, int port) override;
    int SetBitrate(const char* ip, int value, int port) override;
    int SetDhcp(const char* ip, int port) override;
    int SetStaticIp(const char* ip, const char* address, const char* gateway, const char* mask,
                    int port) override;
    int GetAuthEnable(const char* ip, int port) override;
    int SetAuthEnable(const char* ip, bool enable, int port) override;
    int GetROI(const char* ip, int port) override;
    int SetROI(const char* ip, int port, video_layout_format layout) override;
    int SetROI_Json(const char* ip, const char* json, int port) override;
    int Update1220(const char* ip, const char* file, int port) override;
    int Update1230_6127(const char* ip, const char* file1, const char* file2, const char* file3,
                        int port) override;
    int Update1230_4932(const char* ip, const char* file1, const char* file2, const char* file3,
                        int port) override;
    int Update1230_7261(const char* ip, const char* file1, const char* file2, const char* file3,
                        int port) override;
    int UpdateFWAll(const char* ip, const char* file1220, const char* file1, const char* file2,
                    const char* file3, int port) override;
    int GetFwVer1220ByIp(const char* ip, int port) override;
    int GetFwVer1220_1230(const char* ip, int port) override;
    int GetImrxMode(const char* ip, int port) override;
    int SetImrxMode(const char* ip, int mode, int port) override;
    int GetCameraPlacement(const char* ip, int port) override;
    int SetCameraPlacement(const char* ip, bool flipped, int port) override;
    int Reboot(const char* ip, int port) override;
    int StartStreaming(const char* ip, int port) override;
    int StopStreaming(const char* ip, int port) override;
    int GetInfo(const char* ip, int port) override;
    int GetUpdateProgress(const char* ip, int port) override;
    int GetHdr(const char* ip, int port) override;
    int SetHDRValue(const char* ip, int value, int port) override;
    int GetWdr(const char* ip, int port) override;
    int SetWDRValue(const char* ip, int value, int port) override;
    int SetTiltShift(const char* ip, int value, int port) override;
    int AstParamRwSave(const char* ip, int port) override;
    int SetSyslogEnable(const char* ip, const char* server, int server_port, short enable,
                        int port) override;
    int EnableGyro(const char* ip, int port) override;
    int DisableGyro(const char* ip, int port) override;
    int GetQPpreview(const char* ip, int port) override;
    int GetProcessList(const char* ip, int port) override;
    int GetAst1230UsbList(const char* ip, int port) override;
    int GetCpuUsage(const char* ip, int port) override;
    int GetMemoryUsage(const char* ip, int port) override;
    int GetGyroAndAccel(const char* ip, int port) override;
    int GetNetSetting(const char* ip, int port) override;
    int GetSyslogEnable(const char* ip, int port) override;
    int GetCameraName(const char* ip, int port) override;
    int GetCameraState(const char* ip, int port) override;
    int GetCaptureStatus(const char* ip, int port) override;
    int GetServicePorts(const char* ip, int port) override;
    int SetCameraPorts(const char* ip, int http_port, int https_port, int rtsp_port,
                       int port) override;
    int SendCmdLine(const char* ip, const char* cmdline, int port) override;
    int TakeScreenShot(const char* ip, int port) override;
    int Initialize() override;

private:
    int queue(const char* ip, int port, Request request);
    int queue_fixed(const char* ip, int port, const char* operation);
    int queue_value(const char* ip, int port, const char* operation, nlohmann::json value);
    int queue_firmware(const char* ip, int port, FirmwarePlan plan);
    // A failure found before anything is sent, still delivered from the loop.
    int queue_failure(const char* ip, std::string text);
    void deliver(const std::string& text, const std::string& ip, int status) const;
    Deliver deliverer() const;
    void report_info(const std::string& ip, int port, const HttpResult& r) const;
    void report_camera(const std::string& entry) const;
    void probe_static_cameras();

    const ClientOptions options_;
    std::atomic<OscResponseCallback> osc_callback_{nullptr};
    std::atomic<MdnsResultCallback> mdns_callback_{nullptr};
    CameraDispatcher dispatcher_;
    DnsSdBrowser browser_;
};

}  // namespace oscclient
