// The client contract: what the handler requires of the camera client library
// (libVesk_OSC.dylib) that it opens at run time. Every client implementation
// compiles against this header.
//
// Rules every implementation keeps:
// - Operations are asynchronous: queue the request and return at once. Never
//   call a callback from inside an operation call, and never wait for an I/O
//   thread there: the handler calls operations while holding a camera's lock
//   that the callback thread may need.
// - Every finished request produces exactly one OscResponseCallback call with
//   the answer text, the camera's IP (the same text the operation received)
//   and a status: 0 for an answer, non-zero for a failure.
// - Requests to one camera keep their order.
// - ReleaseVeskOscObject returns only when no callback is running any more.
// - Return values of operations are not used by the handler.
#ifndef IVESKOSC_TENDRA_H
#define IVESKOSC_TENDRA_H

#include "IVeskOSCHandlerInst.h"

struct OSC_IID {
    unsigned char bytes[16];
};
inline constexpr OSC_IID IID_OSCAPI = {{0x49, 0x50, 0x26, 0x69, 0xA6, 0xEA, 0x48, 0x1A, 0x97, 0x84,
                                        0x31, 0x68, 0xA7, 0xF2, 0x8B, 0xDD}};

typedef void (*OscResponseCallback)(const char* response, const char* ip, int status);
// Each entry is "field,...,ip,port": only the last two fields are used.
typedef void (*MdnsResultCallback)(const char** entries, int count);

class IVeskOSC_Tendra {
public:
    virtual ~IVeskOSC_Tendra() = default;

    virtual int ScanDevices() = 0;
    virtual int SetMdnsCallback(MdnsResultCallback callback) = 0;
    virtual int SetOscCallback(OscResponseCallback callback) = 0;
    virtual int GetOptionsAll(const char* ip, int port) = 0;
    virtual int SetBrightness(const char* ip, int value, int port) = 0;
    virtual int SetContrast(const char* ip, int value, int port) = 0;
    virtual int SetSaturation(const char* ip, int value, int port) = 0;
    virtual int SetAWB(const char* ip, int value, int port) = 0;
    virtual int SetAutoAWB(const char* ip, int value, int port) = 0;
    virtual int SetSharpness(const char* ip, int value, int port) = 0;
    virtual int SetAntiFlicker(const char* ip, int value, int port) = 0;
    virtual int SetStreamParam(const char* ip, int width, int height, int zero, int framerate,
                               int port) = 0;
    virtual int SetMainStreamFormat(const char* ip, int width, int height, int zero, int framerate,
                                    int framerate2, int bitrate, int gop, int port) = 0;
    virtual int SetBitrate(const char* ip, int value, int port) = 0;
    virtual int SetDhcp(const char* ip, int port) = 0;
    virtual int SetStaticIp(const char* ip, const char* address, const char* gateway,
                            const char* mask, int port) = 0;
    virtual int GetAuthEnable(const char* ip, int port) = 0;
    virtual int SetAuthEnable(const char* ip, bool enable, int port) = 0;
    virtual int GetROI(const char* ip, int port) = 0;
    virtual int SetROI(const char* ip, int port, video_layout_format layout) = 0;
    virtual int SetROI_Json(const char* ip, const char* json, int port) = 0;
    virtual int Update1220(const char* ip, const char* file, int port) = 0;
    virtual int Update1230_6127(const char* ip, const char* file1, const char* file2,
                                const char* file3, int port) = 0;
    virtual int Update1230_4932(const char* ip, const char* file1, const char* file2,
                                const char* file3, int port) = 0;
    virtual int Update1230_7261(const char* ip, const char* file1, const char* file2,
                                const char* file3, int port) = 0;
    // The 1220 image first, then the three 1230 files.
    virtual int UpdateFWAll(const char* ip, const char* file1220, const char* file1,
                            const char* file2, const char* file3, int port) = 0;
    virtual int GetFwVer1220ByIp(const char* ip, int port) = 0;
    virtual int GetFwVer1220_1230(const char* ip, int port) = 0;
    virtual int GetImrxMode(const char* ip, int port) = 0;
    virtual int SetImrxMode(const char* ip, int mode, int port) = 0;
    virtual int GetCameraPlacement(const char* ip, int port) = 0;
    virtual int SetCameraPlacement(const char* ip, bool flipped, int port) = 0;
    virtual int Reboot(const char* ip, int port) = 0;
    virtual int StartStreaming(const char* ip, int port) = 0;
    virtual int StopStreaming(const char* ip, int port) = 0;
    virtual int GetInfo(const char* ip, int port) = 0;
    virtual int GetUpdateProgress(const char* ip, int port) = 0;
    virtual int GetHdr(const char* ip, int port) = 0;
    virtual int SetHDRValue(const char* ip, int value, int port) = 0;
    virtual int GetWdr(const char* ip, int port) = 0;
    virtual int SetWDRValue(const char* ip, int value, int port) = 0;
    virtual int SetTiltShift(const char* ip, int value, int port) = 0;
    virtual int AstParamRwSave(const char* ip, int port) = 0;
    virtual int SetSyslogEnable(const char* ip, const char* server, int server_port, short enable,
                                int port) = 0;
    virtual int EnableGyro(const char* ip, int port) = 0;
    virtual int DisableGyro(const char* ip, int port) = 0;
    virtual int GetQPpreview(const char* ip, int port) = 0;
    virtual int GetProcessList(const char* ip, int port) = 0;
    virtual int GetAst1230UsbList(const char* ip, int port) = 0;
    virtual int GetCpuUsage(const char* ip, int port) = 0;
    virtual int GetMemoryUsage(const char* ip, int port) = 0;
    virtual int GetGyroAndAccel(const char* ip, int port) = 0;
    virtual int GetNetSetting(const char* ip, int port) = 0;
    virtual int GetSyslogEnable(const char* ip, int port) = 0;
    virtual int GetCameraName(const char* ip, int port) = 0;
    virtual int GetCameraState(const char* ip, int port) = 0;
    virtual int GetCaptureStatus(const char* ip, int port) = 0;
    virtual int GetServicePorts(const char* ip, int port) = 0;
    virtual int SetCameraPorts(const char* ip, int http_port, int https_port, int rtsp_port,
                               int port) = 0;
    virtual int SendCmdLine(const char* ip, const char* cmdline, int port) = 0;
    virtual int TakeScreenShot(const char* ip, int port) = 0;
    virtual int Initialize() = 0;
};

// Creates the client object when iid is IID_OSCAPI and stores it in *out;
// leaves *out null otherwise.
extern "C" int CreateVeskOscObject(OSC_IID iid, IVeskOSC_Tendra** out);
// Destroys the object and sets *obj to null.
extern "C" int ReleaseVeskOscObject(IVeskOSC_Tendra** obj);

#endif  // IVESKOSC_TENDRA_H
