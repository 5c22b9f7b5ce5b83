#include "session.h"

#include <atomic>
#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "IVeskOSCHandlerInst.h"
#include "log_reading.h"

namespace oschost {

namespace {

// The bridge behind the one session: the C callbacks have no context pointer.
struct Bridge {
    // Guards `subscribers` and `active`; never held while a subscriber runs.
    std::mutex mutex;
    // Replaced, never changed in place, so that a delivery reads a snapshot.
    std::shared_ptr<const std::vector<Subscriber>> subscribers =
        std::make_shared<const std::vector<Subscriber>>();
    bool active = false;
    std::atomic<bool> echo_log{false};
    LogReader log;
};

Bridge& bridge() {
    static Bridge instance;
    return instance;
}

std::string text(const char* s) {
    return s ? s : "";
}

void deliver(const Event& event) {
    std::shared_ptr<const std::vector<Subscriber>> subscribers;
    {
        std::lock_guard<std::mutex> lock(bridge().mutex);
        subscribers = bridge().subscribers;
    }
    for (const Subscriber& subscriber : *subscribers) {
        try {
            subscriber(event);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "oschost: a subscriber failed: %s\n", error.what());
        } catch (...) {
            std::fprintf(stderr, "oschost: a subscriber failed\n");
        }
    }
}

// Nothing may leave a callback: the handler's threads run it.
template <typename F>
void guarded(F&& make_and_deliver) {
    try {
        make_and_deliver();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "oschost: a callback failed: %s\n", error.what());
    } catch (...) {
        std::fprintf(stderr, "oschost: a callback failed\n");
    }
}

void on_device_list(const char* list) {
    guarded([&] { deliver(DeviceList{parse_camera_list(text(list), ';').cameras}); });
}

void on_params(const char* ip, const char* json) {
    guarded([&] { deliver(ParamsReport{text(ip), text(json)}); });
}

void on_result(const char* ip, const char* command, bool ok, const char* message) {
    guarded([&] {
        CommandResult result{text(ip), text(command), ok, text(message), std::nullopt};
        if (!ok) result.failure = bridge().log.failure_for(result.ip);
        deliver(result);
    });
}

void on_health(const char* ip, bool process_ok, float cpu, float memory, bool in_preview,
               int mode) {
    guarded([&] { deliver(HealthReport{text(ip), process_ok, cpu, memory, in_preview, mode}); });
}

void on_upload(const char* ip, bool image) {
    guarded([&] { deliver(FirmwareUpload{text(ip), image}); });
}

void on_progress(const char* ip, const char* message, int percent) {
    guarded([&] {
        const std::string line = text(message);
        const bool finished = line.find(osc_texts::kFirmwareUpdateEnd) != std::string::npos;
        deliver(FirmwareProgress{text(ip), line, percent, finished});
    });
}

void on_reboot(const char* ip, bool accepted) {
    guarded([&] {
        RebootState state{text(ip), accepted, std::nullopt};
        if (!accepted) state.failure = bridge().log.failure_for(state.ip);
        deliver(state);
    });
}

void on_log(const char* raw) {
    guarded([&] {
        const std::string line = text(raw);
        if (bridge().echo_log) std::fprintf(stderr, "[handler] %s\n", line.c_str());
        for (const Event& event : bridge().log.read(line)) deliver(event);
    });
}

}  // namespace

Session::Session(const std::string& client_dir, bool echo_log) {
    {
        std::lock_guard<std::mutex> lock(bridge().mutex);
        if (bridge().active) throw std::logic_error("one handler session at a time");
        bridge().active = true;
        bridge().echo_log = echo_log;
    }
    Init(client_dir.c_str());
    SetLogCallback(on_log);
    SetDataCallback(on_device_list, on_params, on_result, on_health);
    SetFWUpdateCallback(on_upload, on_progress);
    SetRebootStateCallback(on_reboot);
}

Session::~Session() {
    Destroy();
    std::lock_guard<std::mutex> lock(bridge().mutex);
    bridge().subscribers = std::make_shared<const std::vector<Subscriber>>();
    bridge().active = false;
}

void Session::subscribe(Subscriber subscriber) {
    std::lock_guard<std::mutex> lock(bridge().mutex);
    auto next = std::make_shared<std::vector<Subscriber>>(*bridge().subscribers);
    next->push_back(std::move(subscriber));
    bridge().subscribers = std::move(next);
}

}  // namespace oschost
