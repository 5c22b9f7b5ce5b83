// The benchmarks' minimal client library: every operation only reports its
// name to a hook, and answers are handed in by the probe. It has no threads
// and does no I/O, so what is measured around it is the handler's own work.
#include <atomic>

#include "IVeskOSC_Tendra.h"
#include "fake_control.h"

namespace {

std::atomic<BenchCallHook> g_hook{nullptr};

class FakeClient final : public IVeskOSC_Tendra {
public:
    std::atomic<OscResponseCallback> answer{nullptr};

    int ScanDevices() override { return 0; }
    int SetMdnsCallback(MdnsResultCallback) override { return 0; }
    int SetOscCallback(OscResponseCallback callback) override {
        answer = callback;
        return 0;
    }
    int Initialize() override { return 0; }
    int GetOptionsAll(const char* ip, int) override { return note("GetOptionsAll", ip); }
    int SetBrightness(const char* ip, int, int) override { return note("SetBrightness", ip); }
    int SetContrast(const char* ip, int, int) override { return note("SetContrast", ip); }
    int SetSaturation(const char* ip, int, int) override { return note("SetSaturation", ip); }
    int SetAWB(const char* ip, int, int) override { return note("SetAWB", ip); }
    int SetAutoAWB(const char* ip, int, int) override { return note("SetAutoAWB", ip); }
    int SetSharpness(const char* ip, int, int) override { return note("SetSharpness", ip); }
    int SetAntiFlicker(const char* ip, int, int) override { return note("SetAntiFlicker", ip); }
    int SetStreamParam(const char* ip, int, int, int, int, int) override {
        return note("SetStreamParam", ip);
    }
    int SetMainStreamFormat(const char* ip, int, int, int, int, int, int, int, int) override {
        return note("SetMainStreamFormat", ip);
    }
    int SetBitrate(const char* ip, int, int) override { return note("SetBitrate", ip); }
    int SetDhcp(const char* ip, int) override { return note("SetDhcp", ip); }
    int SetStaticIp(const char* ip, const char*, const char*, const char*, int) override {
        return note("SetStaticIp", ip);
    }
    int GetAuthEnable(const char* ip, int) override { return note("GetAuthEnable", ip); }
    int SetAuthEnable(const char* ip, bool, int) override { return note("SetAuthEnable", ip); }
    int GetROI(const char* ip, int) override { return note("GetROI", ip); }
    int SetROI(const char* ip, int, video_layout_format) override { return note("SetROI", ip); }
    int SetROI_Json(const char* ip, const char*, int) override { return note("SetROI_Json", ip); }
    int Update1220(const char* ip, const char*, int) override { return note("Update1220", ip); }
    int Update1230_6127(const char* ip, const char*, const char*, const char*, int) override {
        return note("Update1230_6127", ip);
    }
    int Update1230_4932(const char* ip, const char*, const char*, const char*, int) override {
        return note("Update1230_4932", ip);
    }
    int Update1230_7261(const char* ip, const char*, const char*, const char*, int) override {
        return note("Update1230_7261", ip);
    }
    int UpdateFWAll(const char* ip, const char*, const char*, const char*, const char*,
                    int) override {
        return note("UpdateFWAll", ip);
    }
    int GetFwVer1220ByIp(const char* ip, int) override { return note("GetFwVer1220ByIp", ip); }
    int GetFwVer1220_1230(const char* ip, int) override { return note("GetFwVer1220_1230", ip); }
    int GetImrxMode(const char* ip, int) override { return note("GetImrxMode", ip); }
    int SetImrxMode(const char* ip, int, int) override { return note("SetImrxMode", ip); }
    int GetCameraPlacement(const char* ip, int) override { return note("GetCameraPlacement", ip); }
    int SetCameraPlacement(const char* ip, bool, int) override {
        return note("SetCameraPlacement", ip);
    }
    int Reboot(const char* ip, int) override { return note("Reboot", ip); }
    int StartStreaming(const char* ip, int) override { return note("StartStreaming", ip); }
    int StopStreaming(const char* ip, int) override { return note("StopStreaming", ip); }
    int GetInfo(const char* ip, int) override { return note("GetInfo", ip); }
    int GetUpdateProgress(const char* ip, int) override { return note("GetUpdateProgress", ip); }
    int GetHdr(const char* ip, int) override { return note("GetHdr", ip); }
    int SetHDRValue(const char* ip, int, int) override { return note("SetHDRValue", ip); }
    int GetWdr(const char* ip, int) override { return note("GetWdr", ip); }
    int SetWDRValue(const char* ip, int, int) override { return note("SetWDRValue", ip); }
    int SetTiltShift(const char* ip, int, int) override { return note("SetTiltShift", ip); }
    int AstParamRwSave(const char* ip, int) override { return note("AstParamRwSave", ip); }
    int SetSyslogEnable(const char* ip, const char*, int, short, int) override {
        return note("SetSyslogEnable", ip);
    }
    int EnableGyro(const char* ip, int) override { return note("EnableGyro", ip); }
    int DisableGyro(const char* ip, int) override { return note("DisableGyro", ip); }
    int GetQPpreview(const char* ip, int) override { return note("GetQPpreview", ip); }
    int GetProcessList(const char* ip, int) override { return note("GetProcessList", ip); }
    int GetAst1230UsbList(const char* ip, int) override { return note("GetAst1230UsbList", ip); }
    int GetCpuUsage(const char* ip, int) override { return note("GetCpuUsage", ip); }
    int GetMemoryUsage(const char* ip, int) override { return note("GetMemoryUsage", ip); }
    int GetGyroAndAccel(const char* ip, int) override { return note("GetGyroAndAccel", ip); }
    int GetNetSetting(const char* ip, int) override { return note("GetNetSetting", ip); }
    int GetSyslogEnable(const char* ip, int) override { return note("GetSyslogEnable", ip); }
    int GetCameraName(const char* ip, int) override { return note("GetCameraName", ip); }
    int GetCameraState(const char* ip, int) override { return note("GetCameraState", ip); }
    int GetCaptureStatus(const char* ip, int) override { return note("GetCaptureStatus", ip); }
    int GetServicePorts(const char* ip, int) override { return note("GetServicePorts", ip); }
    int SetCameraPorts(const char* ip, int, int, int, int) override {
        return note("SetCameraPorts", ip);
    }
    int SendCmdLine(const char* ip, const char*, int) override { return note("SendCmdLine", ip); }
    int TakeScreenShot(const char* ip, int) override { return note("TakeScreenShot", ip); }

private:
    static int note(const char* op, const char* ip) {
        if (BenchCallHook hook = g_hook.load()) hook(op, ip);
        return 0;
    }
};

FakeClient* g_client = nullptr;

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int CreateVeskOscObject(OSC_IID iid, IVeskOSC_Tendra** out) {
    if (out == nullptr) return -1;
    *out = nullptr;
    for (int i = 0; i < 16; ++i) {
        if (iid.bytes[i] != IID_OSCAPI.bytes[i]) return -1;
    }
    g_client = new FakeClient;
    *out = g_client;
    return 0;
}

__attribute__((visibility("default"))) int ReleaseVeskOscObject(IVeskOSC_Tendra** obj) {
    if (obj == nullptr || *obj == nullptr) return -1;
    if (*obj == g_client) g_client = nullptr;
    delete *obj;
    *obj = nullptr;
    return 0;
}

__attribute__((visibility("default"))) void bench_fake_set_call_hook(BenchCallHook hook) {
    g_hook = hook;
}

__attribute__((visibility("default"))) void bench_fake_deliver(const char* text, const char* ip,
                                                               int status) {
    if (g_client == nullptr) return;
    if (OscResponseCallback callback = g_client->answer.load()) callback(text, ip, status);
}

}  // extern "C"
