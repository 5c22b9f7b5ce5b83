// Test double of the camera client library: records every operation, answers
// only when a test tells it to, and delivers on a thread of its own as the real
// client does.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "IVeskOSC_Tendra.h"
#include "double/control_api.h"

namespace {

class FakeClient;

struct Delivery {
    enum class Kind { response, discovery, responder };
    Kind kind = Kind::response;
    std::string text;  // response text, or the call line for the responder
    std::string ip;
    int status = 0;
    std::vector<std::string> entries;
};

// Library-scope state: outlives every client object so tests can read it
// after the handler released its client.
class LibraryState {
public:
    void append_call(std::string line, const video_layout_format* layout = nullptr) {
        {
            std::lock_guard<std::mutex> lock(log_mutex_);
            log_.push_back(std::move(line));
            if (layout != nullptr) last_layout_ = *layout;
        }
        log_changed_.notify_all();
    }

    void clear_calls() {
        std::lock_guard<std::mutex> lock(log_mutex_);
        log_.clear();
        last_layout_.reset();
    }

    int call_count() {
        std::lock_guard<std::mutex> lock(log_mutex_);
        return static_cast<int>(log_.size());
    }

    std::optional<std::string> call_at(int index) {
        std::lock_guard<std::mutex> lock(log_mutex_);
        if (index < 0 || static_cast<size_t>(index) >= log_.size()) return std::nullopt;
        return log_[static_cast<size_t>(index)];
    }

    std::optional<video_layout_format> last_layout() {
        std::lock_guard<std::mutex> lock(log_mutex_);
        return last_layout_;
    }

    template <typename Predicate>
    bool wait_for_log(int timeout_ms, Predicate predicate) {
        std::unique_lock<std::mutex> lock(log_mutex_);
        return log_changed_.wait_for(lock, std::chrono::milliseconds(std::max(timeout_ms, 0)),
                                     [&] { return predicate(log_); });
    }

    // Deliveries queued or being handed over, across all client objects.
    void delivery_queued() {
        std::lock_guard<std::mutex> lock(idle_mutex_);
        ++outstanding_;
    }

    void delivery_finished() {
        {
            std::lock_guard<std::mutex> lock(idle_mutex_);
            --outstanding_;
        }
        idle_changed_.notify_all();
    }

    bool wait_idle(int timeout_ms) {
        std::unique_lock<std::mutex> lock(idle_mutex_);
        return idle_changed_.wait_for(lock, std::chrono::milliseconds(std::max(timeout_ms, 0)),
                                      [&] { return outstanding_ == 0; });
    }

    void set_responder(vd_responder responder, void* user) {
        std::unique_lock<std::mutex> lock(responder_mutex_);
        // The caller may free what the old responder uses once we return.
        if (!inside_responder_) {
            responder_idle_.wait(lock, [&] { return responders_running_ == 0; });
        }
        responder_ = responder;
        responder_user_ = user;
    }

    bool has_responder() {
        std::lock_guard<std::mutex> lock(responder_mutex_);
        return responder_ != nullptr;
    }

    void run_responder(const std::string& line, const std::string& ip) {
        vd_responder responder = nullptr;
        void* user = nullptr;
        {
            std::lock_guard<std::mutex> lock(responder_mutex_);
            if (responder_ == nullptr) return;
            responder = responder_;
            user = responder_user_;
            ++responders_running_;
        }
        inside_responder_ = true;
        responder(line.c_str(), ip.c_str(), user);
        inside_responder_ = false;
        {
            std::lock_guard<std::mutex> lock(responder_mutex_);
            --responders_running_;
        }
        responder_idle_.notify_all();
    }

    void add_client(FakeClient* client) {
        std::lock_guard<std::mutex> lock(clients_mutex_);
        clients_.push_back(client);
    }

    void remove_client(FakeClient* client) {
        std::lock_guard<std::mutex> lock(clients_mutex_);
        clients_.erase(std::remove(clients_.begin(), clients_.end(), client), clients_.end());
    }

    int clients_alive() {
        std::lock_guard<std::mutex> lock(clients_mutex_);
        return static_cast<int>(clients_.size());
    }

    // Queues on the newest live client. The clients lock is held while queueing
    // so that the client cannot be released in between.
    void deliver_to_newest(Delivery delivery);

    void reset() {
        clear_calls();
        set_responder(nullptr, nullptr);
        fail_factory = false;
        created = 0;
        released = 0;
        refusals = 0;
        initialized = 0;
        delivered = 0;
        dropped = 0;
    }

    std::atomic<bool> fail_factory{false};
    std::atomic<int> created{0};
    std::atomic<int> released{0};
    std::atomic<int> refusals{0};
    std::atomic<int> initialized{0};
    std::atomic<int> delivered{0};
    std::atomic<int> dropped{0};

private:
    std::mutex log_mutex_;
    std::condition_variable log_changed_;
    std::vector<std::string> log_;
    std::optional<video_layout_format> last_layout_;

    std::mutex idle_mutex_;
    std::condition_variable idle_changed_;
    int outstanding_ = 0;

    std::mutex responder_mutex_;
    std::condition_variable responder_idle_;
    vd_responder responder_ = nullptr;
    void* responder_user_ = nullptr;
    int responders_running_ = 0;
    static thread_local bool inside_responder_;

    std::mutex clients_mutex_;
    std::vector<FakeClient*> clients_;  // newest last
};

thread_local bool LibraryState::inside_responder_ = false;

// Never destroyed: a leaked client's delivery thread may still use it at exit.
LibraryState& library() {
    static LibraryState* const state = new LibraryState;
    return *state;
}

std::string as_text(const char* text) {
    return text != nullptr ? std::string(text) : "(null)";
}
std::string as_text(int value) {
    return std::to_string(value);
}
std::string as_text(short value) {
    return std::to_string(value);
}
std::string as_text(bool value) {
    return value ? "true" : "false";
}

template <typename... Args>
std::string call_line(const char* name, const Args&... args) {
    std::string line = name;
    line += '(';
    bool first = true;
    ((line += (first ? "" : ", ") + as_text(args), first = false), ...);
    line += ')';
    return line;
}

class FakeClient final : public IVeskOSC_Tendra {
public:
    FakeClient() : delivery_thread_([this] { deliver_until_stopped(); }) {
        library().add_client(this);
        ++library().created;
    }

    ~FakeClient() override {
        if (std::this_thread::get_id() == delivery_thread_.get_id()) {
            std::fprintf(stderr, "client double: released from inside its own callback\n");
            std::abort();
        }
        library().remove_client(this);
        {
            std::lock_guard<std::mutex> lock(queue_mutex_);
            stopping_ = true;
        }
        queue_changed_.notify_all();
        delivery_thread_.join();
        ++library().released;
    }

    FakeClient(const FakeClient&) = delete;
    FakeClient& operator=(const FakeClient&) = delete;

    void enqueue(Delivery delivery) {
        library().delivery_queued();
        {
            std::lock_guard<std::mutex> lock(queue_mutex_);
            queue_.push_back(std::move(delivery));
        }
        queue_changed_.notify_one();
    }

    int ScanDevices() override { return record(call_line("ScanDevices"), ""); }
    int SetMdnsCallback(MdnsResultCallback callback) override {
        mdns_callback_ = callback;
        return record(callback != nullptr ? "SetMdnsCallback(set)" : "SetMdnsCallback(null)", "");
    }
    int SetOscCallback(OscResponseCallback callback) override {
        osc_callback_ = callback;
        return record(callback != nullptr ? "SetOscCallback(set)" : "SetOscCallback(null)", "");
    }
    int GetOptionsAll(const char* ip, int port) override { return op("GetOptionsAll", ip, port); }
    int SetBrightness(const char* ip, int value, int port) override {
        return op("SetBrightness", ip, value, port);
    }
    int SetContrast(const char* ip, int value, int port) override {
        return op("SetContrast", ip, value, port);
    }
    int SetSaturation(const char* ip, int value, int port) override {
        return op("SetSaturation", ip, value, port);
    }
    int SetAWB(const char* ip, int value, int port) override {
        return op("SetAWB", ip, value, port);
    }
    int SetAutoAWB(const char* ip, int value, int port) override {
        return op("SetAutoAWB", ip, value, port);
    }
    int SetSharpness(const char* ip, int value, int port) override {
        return op("SetSharpness", ip, value, port);
    }
    int SetAntiFlicker(const char* ip, int value, int port) override {
        return op("SetAntiFlicker", ip, value, port);
    }
    int SetStreamParam(const char* ip, int width, int height, int zero, int framerate,
                       int port) override {
        return op("SetStreamParam", ip, width, height, zero, framerate, port);
    }
    int SetMainStreamFormat(const char* ip, int width, int height, int zero, int framerate,
                            int framerate2, int bitrate, int gop, int port) override {
        return op("SetMainStreamFormat", ip, width, height, zero, framerate, framerate2, bitrate,
                  gop, port);
    }
    int SetBitrate(const char* ip, int value, int port) override {
        return op("SetBitrate", ip, value, port);
    }
    int SetDhcp(const char* ip, int port) override { return op("SetDhcp", ip, port); }
    int SetStaticIp(const char* ip, const char* address, const char* gateway, const char* mask,
                    int port) override {
        return op("SetStaticIp", ip, address, gateway, mask, port);
    }
    int GetAuthEnable(const char* ip, int port) override { return op("GetAuthEnable", ip, port); }
    int SetAuthEnable(const char* ip, bool enable, int port) override {
        return op("SetAuthEnable", ip, enable, port);
    }
    int GetROI(const char* ip, int port) override { return op("GetROI", ip, port); }
    int SetROI(const char* ip, int port, video_layout_format layout) override {
        const std::string geometry =
            std::to_string(layout.srcWidth) + "x" + std::to_string(layout.srcHeight) + " -> " +
            std::to_string(layout.dstWidth) + "x" + std::to_string(layout.dstHeight);
        std::string line = call_line("SetROI", ip, port);
        line.pop_back();
        line += ", " + geometry + ", " + std::to_string(layout.roiNum) + ")";
        return record(std::move(line), as_text(ip), &layout);
    }
    int SetROI_Json(const char* ip, const char* json, int port) override {
        return op("SetROI_Json", ip, json, port);
    }
    int Update1220(const char* ip, const char* file, int port) override {
        return op("Update1220", ip, file, port);
    }
    int Update1230_6127(const char* ip, const char* file1, const char* file2, const char* file3,
                        int port) override {
        return op("Update1230_6127", ip, file1, file2, file3, port);
    }
    int Update1230_4932(const char* ip, const char* file1, const char* file2, const char* file3,
                        int port) override {
        return op("Update1230_4932", ip, file1, file2, file3, port);
    }
    int Update1230_7261(const char* ip, const char* file1, const char* file2, const char* file3,
                        int port) override {
        return op("Update1230_7261", ip, file1, file2, file3, port);
    }
    int UpdateFWAll(const char* ip, const char* file1220, const char* file1, const char* file2,
                    const char* file3, int port) override {
        return op("UpdateFWAll", ip, file1220, file1, file2, file3, port);
    }
    int GetFwVer1220ByIp(const char* ip, int port) override {
        return op("GetFwVer1220ByIp", ip, port);
    }
    int GetFwVer1220_1230(const char* ip, int port) override {
        return op("GetFwVer1220_1230", ip, port);
    }
    int GetImrxMode(const char* ip, int port) override { return op("GetImrxMode", ip, port); }
    int SetImrxMode(const char* ip, int mode, int port) override {
        return op("SetImrxMode", ip, mode, port);
    }
    int GetCameraPlacement(const char* ip, int port) override {
        return op("GetCameraPlacement", ip, port);
    }
    int SetCameraPlacement(const char* ip, bool flipped, int port) override {
        return op("SetCameraPlacement", ip, flipped, port);
    }
    int Reboot(const char* ip, int port) override { return op("Reboot", ip, port); }
    int StartStreaming(const char* ip, int port) override { return op("StartStreaming", ip, port); }
    int StopStreaming(const char* ip, int port) override { return op("StopStreaming", ip, port); }
    int GetInfo(const char* ip, int port) override { return op("GetInfo", ip, port); }
    int GetUpdateProgress(const char* ip, int port) override {
        return op("GetUpdateProgress", ip, port);
    }
    int GetHdr(const char* ip, int port) override { return op("GetHdr", ip, port); }
    int SetHDRValue(const char* ip, int value, int port) override {
        return op("SetHDRValue", ip, value, port);
    }
    int GetWdr(const char* ip, int port) override { return op("GetWdr", ip, port); }
    int SetWDRValue(const char* ip, int value, int port) override {
        return op("SetWDRValue", ip, value, port);
    }
    int SetTiltShift(const char* ip, int value, int port) override {
        return op("SetTiltShift", ip, value, port);
    }
    int AstParamRwSave(const char* ip, int port) override { return op("AstParamRwSave", ip, port); }
    int SetSyslogEnable(const char* ip, const char* server, int server_port, short enable,
                        int port) override {
        return op("SetSyslogEnable", ip, server, server_port, enable, port);
    }
    int EnableGyro(const char* ip, int port) override { return op("EnableGyro", ip, port); }
    int DisableGyro(const char* ip, int port) override { return op("DisableGyro", ip, port); }
    int GetQPpreview(const char* ip, int port) override { return op("GetQPpreview", ip, port); }
    int GetProcessList(const char* ip, int port) override { return op("GetProcessList", ip, port); }
    int GetAst1230UsbList(const char* ip, int port) override {
        return op("GetAst1230UsbList", ip, port);
    }
    int GetCpuUsage(const char* ip, int port) override { return op("GetCpuUsage", ip, port); }
    int GetMemoryUsage(const char* ip, int port) override { return op("GetMemoryUsage", ip, port); }
    int GetGyroAndAccel(const char* ip, int port) override {
        return op("GetGyroAndAccel", ip, port);
    }
    int GetNetSetting(const char* ip, int port) override { return op("GetNetSetting", ip, port); }
    int GetSyslogEnable(const char* ip, int port) override {
        return op("GetSyslogEnable", ip, port);
    }
    int GetCameraName(const char* ip, int port) override { return op("GetCameraName", ip, port); }
    int GetCameraState(const char* ip, int port) override { return op("GetCameraState", ip, port); }
    int GetCaptureStatus(const char* ip, int port) override {
        return op("GetCaptureStatus", ip, port);
    }
    int GetServicePorts(const char* ip, int port) override {
        return op("GetServicePorts", ip, port);
    }
    int SetCameraPorts(const char* ip, int http_port, int https_port, int rtsp_port,
                       int port) override {
        return op("SetCameraPorts", ip, http_port, https_port, rtsp_port, port);
    }
    int SendCmdLine(const char* ip, const char* cmdline, int port) override {
        return op("SendCmdLine", ip, cmdline, port);
    }
    int TakeScreenShot(const char* ip, int port) override { return op("TakeScreenShot", ip, port); }
    int Initialize() override {
        ++library().initialized;
        return record(call_line("Initialize"), "");
    }

private:
    template <typename... Args>
    int op(const char* name, const char* ip, const Args&... rest) {
        return record(call_line(name, ip, rest...), as_text(ip));
    }

    int record(std::string line, std::string ip, const video_layout_format* layout = nullptr) {
        library().append_call(line, layout);
        // The responder runs later on the delivery thread: operations never
        // call back into the caller, which may hold a lock the callback needs.
        if (library().has_responder()) {
            Delivery delivery;
            delivery.kind = Delivery::Kind::responder;
            delivery.text = std::move(line);
            delivery.ip = std::move(ip);
            enqueue(std::move(delivery));
        }
        return 0;
    }

    void deliver_until_stopped() {
        for (;;) {
            Delivery delivery;
            {
                std::unique_lock<std::mutex> lock(queue_mutex_);
                queue_changed_.wait(lock, [&] { return stopping_ || !queue_.empty(); });
                if (stopping_) break;
                delivery = std::move(queue_.front());
                queue_.pop_front();
            }
            hand_over(delivery);
            library().delivery_finished();
        }
        // Released with work pending: a real client cancels its requests too.
        std::lock_guard<std::mutex> lock(queue_mutex_);
        for (const Delivery& left : queue_) {
            if (left.kind != Delivery::Kind::responder) ++library().dropped;
            library().delivery_finished();
        }
        queue_.clear();
    }

    void hand_over(const Delivery& delivery) {
        switch (delivery.kind) {
            case Delivery::Kind::response:
                if (OscResponseCallback callback = osc_callback_.load()) {
                    callback(delivery.text.c_str(), delivery.ip.c_str(), delivery.status);
                    ++library().delivered;
                } else {
                    ++library().dropped;
                }
                break;
            case Delivery::Kind::discovery:
                if (MdnsResultCallback callback = mdns_callback_.load()) {
                    std::vector<const char*> entries;
                    entries.reserve(delivery.entries.size());
                    for (const std::string& entry : delivery.entries) {
                        entries.push_back(entry.c_str());
                    }
                    callback(entries.data(), static_cast<int>(entries.size()));
                    ++library().delivered;
                } else {
                    ++library().dropped;
                }
                break;
            case Delivery::Kind::responder:
                library().run_responder(delivery.text, delivery.ip);
                break;
        }
    }

    std::atomic<OscResponseCallback> osc_callback_{nullptr};
    std::atomic<MdnsResultCallback> mdns_callback_{nullptr};

    std::mutex queue_mutex_;
    std::condition_variable queue_changed_;
    std::deque<Delivery> queue_;
    bool stopping_ = false;
    std::thread delivery_thread_;  // last: starts once the members above exist
};

void LibraryState::deliver_to_newest(Delivery delivery) {
    std::lock_guard<std::mutex> lock(clients_mutex_);
    if (clients_.empty()) {
        ++dropped;
        return;
    }
    clients_.back()->enqueue(std::move(delivery));
}

}  // namespace

extern "C" {

VD_API int CreateVeskOscObject(OSC_IID iid, IVeskOSC_Tendra** out) {
    if (out == nullptr) return -1;
    *out = nullptr;
    if (std::memcmp(iid.bytes, IID_OSCAPI.bytes, sizeof iid.bytes) != 0 || library().fail_factory) {
        ++library().refusals;
        return -1;
    }
    *out = new FakeClient;
    return 0;
}

VD_API int ReleaseVeskOscObject(IVeskOSC_Tendra** obj) {
    if (obj == nullptr || *obj == nullptr) return -1;
    delete *obj;
    *obj = nullptr;
    return 0;
}

VD_API void vd_reset(void) {
    library().reset();
}

VD_API void vd_clear_calls(void) {
    library().clear_calls();
}

VD_API int vd_call_count(void) {
    return library().call_count();
}

VD_API int vd_call_at(int index, char* buffer, int size) {
    const std::optional<std::string> line = library().call_at(index);
    if (!line) return -1;
    if (buffer != nullptr && size > 0) {
        const size_t copied = std::min(line->size(), static_cast<size_t>(size) - 1);
        std::memcpy(buffer, line->data(), copied);
        buffer[copied] = '\0';
    }
    return static_cast<int>(line->size());
}

VD_API int vd_wait_for_calls(int count, int timeout_ms) {
    return library().wait_for_log(timeout_ms, [count](const std::vector<std::string>& log) {
        return log.size() >= static_cast<size_t>(std::max(count, 0));
    });
}

VD_API int vd_wait_for_call(const char* prefix, int timeout_ms) {
    const std::string wanted = prefix != nullptr ? prefix : "";
    return library().wait_for_log(timeout_ms, [&wanted](const std::vector<std::string>& log) {
        return std::any_of(log.begin(), log.end(), [&wanted](const std::string& line) {
            return line.compare(0, wanted.size(), wanted) == 0;
        });
    });
}

VD_API int vd_last_layout(video_layout_format* out) {
    const std::optional<video_layout_format> layout = library().last_layout();
    if (!layout) return 0;
    if (out != nullptr) *out = *layout;
    return 1;
}

VD_API void vd_fail_factory(int fail) {
    library().fail_factory = fail != 0;
}
VD_API int vd_objects_created(void) {
    return library().created;
}
VD_API int vd_objects_released(void) {
    return library().released;
}
VD_API int vd_objects_alive(void) {
    return library().clients_alive();
}
VD_API int vd_factory_refusals(void) {
    return library().refusals;
}
VD_API int vd_initialize_calls(void) {
    return library().initialized;
}
VD_API int vd_deliveries_done(void) {
    return library().delivered;
}
VD_API int vd_deliveries_dropped(void) {
    return library().dropped;
}

VD_API void vd_respond(const char* text, const char* ip, int status) {
    Delivery delivery;
    delivery.kind = Delivery::Kind::response;
    delivery.text = text != nullptr ? text : "";
    delivery.ip = ip != nullptr ? ip : "";
    delivery.status = status;
    library().deliver_to_newest(std::move(delivery));
}

VD_API void vd_discover(const char* const* entries, int count) {
    Delivery delivery;
    delivery.kind = Delivery::Kind::discovery;
    for (int i = 0; i < count; ++i) {
        delivery.entries.emplace_back(entries[i] != nullptr ? entries[i] : "");
    }
    library().deliver_to_newest(std::move(delivery));
}

VD_API int vd_wait_idle(int timeout_ms) {
    return library().wait_idle(timeout_ms);
}

VD_API void vd_set_responder(vd_responder responder, void* user) {
    library().set_responder(responder, user);
}

}  // extern "C"
