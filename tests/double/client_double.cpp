// Test double of the camera client library: logs every operation as one line
// and delivers answers only when a test says so, on a thread of its own as the
// real client does.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "IVeskOSC_Tendra.h"
#include "double/double_state.h"

namespace {

// Never destroyed: a leaked client's thread may still use it at exit.
DoubleState& state() {
    static DoubleState* const s = new DoubleState;
    return *s;
}

std::string as_text(const char* text) {
    return text != nullptr ? text : "(null)";
}
template <typename T>
std::string as_text(T value) {
    if constexpr (std::is_same_v<T, bool>) return value ? "true" : "false";
    return std::to_string(value);
}
std::string as_text(const video_layout_format& l) {
    std::string text = std::to_string(l.srcWidth) + "x" + std::to_string(l.srcHeight) + " -> " +
                       std::to_string(l.dstWidth) + "x" + std::to_string(l.dstHeight) + ", " +
                       std::to_string(l.roiNum);
    for (int i = 0; i < std::min<int>(l.roiNum, VIDEO_LAYOUT_MAX_ROI); ++i) {
        const video_roi_param r = l.roiParam[i];
        const int v[] = {r.srcX, r.srcY, r.srcW, r.srcH, r.dstX, r.dstY, r.dstW, r.dstH};
        text += ", ";
        for (int k = 0; k < 8; ++k)
            text += (k == 0 ? "" : k == 4 ? ">" : " ") + std::to_string(v[k]);
        text += " p" + std::to_string(r.projection);
    }
    return text;
}

void run_responder(const std::string& line, const std::string& ip) {
    DoubleState& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    const DoubleState::Responder responder = s.responder;
    if (!responder) return;
    ++s.responders_running;
    lock.unlock();
    responder(line, ip);
    lock.lock();
    --s.responders_running;
    s.changed.notify_all();
}

class FakeClient final : public IVeskOSC_Tendra, public DeliveryQueue {
public:
    FakeClient() {
        std::lock_guard<std::mutex> lock(state().mutex);
        state().clients.push_back(this);
    }

    ~FakeClient() override {
        DoubleState& s = state();
        {
            std::lock_guard<std::mutex> lock(s.mutex);
            s.clients.erase(std::find(s.clients.begin(), s.clients.end(), this));
            stopping_ = true;
            // Released with work pending: a real client cancels its requests too.
            s.outstanding -= static_cast<int>(queue_.size());
            queue_.clear();
        }
        s.changed.notify_all();
        thread_.join();
    }

    // The caller holds the state lock.
    void enqueue(Delivery delivery) override {
        ++state().outstanding;
        queue_.push_back(std::move(delivery));
        state().changed.notify_all();
    }

    int ScanDevices() override { return record("ScanDevices", nullptr); }
    int SetMdnsCallback(MdnsResultCallback callback) override {
        mdns_callback_ = callback;
        return record(callback ? "SetMdnsCallback(set)" : "SetMdnsCallback(null)", nullptr);
    }
    int SetOscCallback(OscResponseCallback callback) override {
        osc_callback_ = callback;
        return record(callback ? "SetOscCallback(set)" : "SetOscCallback(null)", nullptr);
    }
    int Initialize() override { return record("Initialize", nullptr); }

private:
    // ip is the camera argument, or null for operations without one.
    template <typename... Args>
    int record(const char* name, const char* ip, const Args&... args) {
        std::string line = name;
        if (ip != nullptr) {
            line += "(" + as_text(ip);
            ((line += ", " + as_text(args)), ...);
            line += ")";
        } else if (line.back() != ')') {
            line += "()";
        }
        DoubleState& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        s.log.push_back(line);
        s.changed.notify_all();
        // The responder runs later on the delivery thread: operations never
        // call back into a caller that may hold a lock the callback needs.
        if (s.responder) {
            enqueue({Delivery::Kind::responder, line, ip != nullptr ? ip : "", 0, {}});
        }
        return 0;
    }

    void deliver_until_stopped() {
        DoubleState& s = state();
        std::unique_lock<std::mutex> lock(s.mutex);
        for (;;) {
            s.changed.wait(lock, [&] { return stopping_ || !queue_.empty(); });
            if (stopping_) return;
            const Delivery d = std::move(queue_.front());
            queue_.pop_front();
            lock.unlock();
            hand_over(d);
            lock.lock();
            --s.outstanding;
            s.changed.notify_all();
        }
    }

    void hand_over(const Delivery& d) {
        if (d.kind == Delivery::Kind::responder) {
            run_responder(d.text, d.ip);
        } else if (d.kind == Delivery::Kind::response) {
            if (OscResponseCallback callback = osc_callback_) {
                callback(d.text.c_str(), d.ip.c_str(), d.status);
            }
        } else if (MdnsResultCallback callback = mdns_callback_) {
            std::vector<const char*> entries;
            for (const std::string& entry : d.entries) entries.push_back(entry.c_str());
            callback(entries.data(), static_cast<int>(entries.size()));
        }
    }

    std::atomic<OscResponseCallback> osc_callback_{nullptr};
    std::atomic<MdnsResultCallback> mdns_callback_{nullptr};
    std::deque<Delivery> queue_;  // guarded by the state lock
    bool stopping_ = false;
    std::thread thread_{[this] { deliver_until_stopped(); }};  // last: uses the members above

public:
    // One logging override per interface operation, in interface order.
    // clang-format off
#define OP(Name, Params, ...) int Name Params override { return record(#Name, __VA_ARGS__); }
#define PLAIN(Name) OP(Name, (const char* ip, int port), ip, port)
#define VALUE(Name, Type) OP(Name, (const char* ip, Type value, int port), ip, value, port)
#define FILES(Name) OP(Name, (const char* ip, const char* a, const char* b, const char* c, int port), ip, a, b, c, port)
    PLAIN(GetOptionsAll) VALUE(SetBrightness, int) VALUE(SetContrast, int)
    VALUE(SetSaturation, int) VALUE(SetAWB, int) VALUE(SetAutoAWB, int) VALUE(SetSharpness, int)
    VALUE(SetAntiFlicker, int)
    OP(SetStreamParam, (const char* ip, int w, int h, int zero, int fps, int port), ip, w, h, zero, fps, port)
    OP(SetMainStreamFormat, (const char* ip, int w, int h, int zero, int fps, int fps2, int bitrate,
       int gop, int port), ip, w, h, zero, fps, fps2, bitrate, gop, port)
    VALUE(SetBitrate, int) PLAIN(SetDhcp)
    OP(SetStaticIp, (const char* ip, const char* a, const char* g, const char* m, int port), ip, a, g, m, port)
    PLAIN(GetAuthEnable) VALUE(SetAuthEnable, bool) PLAIN(GetROI)
    OP(SetROI, (const char* ip, int port, video_layout_format layout), ip, port, layout)
    VALUE(SetROI_Json, const char*) VALUE(Update1220, const char*)
    FILES(Update1230_6127) FILES(Update1230_4932) FILES(Update1230_7261)
    OP(UpdateFWAll, (const char* ip, const char* f1220, const char* a, const char* b, const char* c,
       int port), ip, f1220, a, b, c, port)
    PLAIN(GetFwVer1220ByIp) PLAIN(GetFwVer1220_1230) PLAIN(GetImrxMode) VALUE(SetImrxMode, int)
    PLAIN(GetCameraPlacement) VALUE(SetCameraPlacement, bool) PLAIN(Reboot) PLAIN(StartStreaming)
    PLAIN(StopStreaming) PLAIN(GetInfo) PLAIN(GetUpdateProgress) PLAIN(GetHdr)
    VALUE(SetHDRValue, int) PLAIN(GetWdr) VALUE(SetWDRValue, int) VALUE(SetTiltShift, int)
    PLAIN(AstParamRwSave)
    OP(SetSyslogEnable, (const char* ip, const char* server, int sport, short on, int port), ip, server, sport, on, port)
    PLAIN(EnableGyro) PLAIN(DisableGyro) PLAIN(GetQPpreview) PLAIN(GetProcessList)
    PLAIN(GetAst1230UsbList) PLAIN(GetCpuUsage) PLAIN(GetMemoryUsage) PLAIN(GetGyroAndAccel)
    PLAIN(GetNetSetting) PLAIN(GetSyslogEnable) PLAIN(GetCameraName) PLAIN(GetCameraState)
    PLAIN(GetCaptureStatus) PLAIN(GetServicePorts)
    OP(SetCameraPorts, (const char* ip, int http, int https, int rtsp, int port), ip, http, https, rtsp, port)
    VALUE(SendCmdLine, const char*) PLAIN(TakeScreenShot)
    // clang-format on
};

}  // namespace

extern "C" {

__attribute__((visibility("default"))) DoubleState* vd_state() {
    return &state();
}

__attribute__((visibility("default"))) int CreateVeskOscObject(OSC_IID iid, IVeskOSC_Tendra** out) {
    if (out == nullptr) return -1;
    *out = nullptr;
    bool refuse = std::memcmp(iid.bytes, IID_OSCAPI.bytes, sizeof iid.bytes) != 0;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        refuse = refuse || state().fail_factory;
    }
    if (refuse) return -1;
    *out = new FakeClient;
    return 0;
}

__attribute__((visibility("default"))) int ReleaseVeskOscObject(IVeskOSC_Tendra** obj) {
    if (obj == nullptr || *obj == nullptr) return -1;
    delete *obj;
    *obj = nullptr;
    return 0;
}

}  // extern "C"
