// Test-side handle on the client-library double. It opens the same library file
// that the handler opens, so both see one instance: what the handler asks of its
// client shows up in calls(), and respond()/discover() reach the handler.
#ifndef OSC_TESTS_SUPPORT_CLIENT_DOUBLE_H
#define OSC_TESTS_SUPPORT_CLIENT_DOUBLE_H

#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "double/control_api.h"

#ifndef OSC_DOUBLE_DIR
#error "OSC_DOUBLE_DIR must name the directory of the client-library double"
#endif

class ClientDouble {
public:
    using CallHandler =
        std::function<void(const std::string& line, const std::string& ip, ClientDouble&)>;
    static constexpr std::chrono::milliseconds default_timeout{5000};

    // Starts from a clean log and counters.
    ClientDouble() {
        // NODELETE: a leaked client object's thread must never outlive the code.
        handle_ = dlopen(library_path().c_str(), RTLD_NOW | RTLD_NODELETE);
        if (handle_ == nullptr) {
            const char* error = dlerror();
            throw std::runtime_error("cannot open the client double: " +
                                     std::string(error != nullptr ? error : "unknown error"));
        }
        bind(reset_, "vd_reset");
        bind(clear_calls_, "vd_clear_calls");
        bind(call_count_, "vd_call_count");
        bind(call_at_, "vd_call_at");
        bind(wait_for_calls_, "vd_wait_for_calls");
        bind(wait_for_call_, "vd_wait_for_call");
        bind(last_layout_, "vd_last_layout");
        bind(fail_factory_, "vd_fail_factory");
        bind(objects_created_, "vd_objects_created");
        bind(objects_released_, "vd_objects_released");
        bind(objects_alive_, "vd_objects_alive");
        bind(factory_refusals_, "vd_factory_refusals");
        bind(initialize_calls_, "vd_initialize_calls");
        bind(deliveries_done_, "vd_deliveries_done");
        bind(deliveries_dropped_, "vd_deliveries_dropped");
        bind(respond_, "vd_respond");
        bind(discover_, "vd_discover");
        bind(wait_idle_, "vd_wait_idle");
        bind(set_responder_, "vd_set_responder");
        reset();
    }

    ~ClientDouble() {
        // The responder points at this object: detach it before we go.
        if (on_call_) set_responder_(nullptr, nullptr);
        dlclose(handle_);
    }

    ClientDouble(const ClientDouble&) = delete;
    ClientDouble& operator=(const ClientDouble&) = delete;

    // The directory to pass to Init.
    static std::string directory() { return OSC_DOUBLE_DIR; }
    static std::string library_path() { return directory() + "/libVesk_OSC.dylib"; }

    // Raw entry points, for tests that drive a client object themselves.
    void* symbol(const char* name) const { return dlsym(handle_, name); }

    void reset() {
        set_responder_(nullptr, nullptr);
        on_call_ = nullptr;
        reset_();
    }

    // ---- Call log

    std::vector<std::string> calls() const {
        std::vector<std::string> lines;
        std::string buffer(256, '\0');
        for (int index = 0;; ++index) {
            int length = call_at_(index, buffer.data(), static_cast<int>(buffer.size()));
            if (length < 0) break;
            if (static_cast<size_t>(length) >= buffer.size()) {
                buffer.resize(static_cast<size_t>(length) + 1);
                length = call_at_(index, buffer.data(), static_cast<int>(buffer.size()));
                if (length < 0) break;
            }
            lines.emplace_back(buffer.data(), static_cast<size_t>(length));
        }
        return lines;
    }

    // Lines that start with prefix, in order.
    std::vector<std::string> calls_starting_with(const std::string& prefix) const {
        std::vector<std::string> matching;
        for (std::string& line : calls()) {
            if (line.compare(0, prefix.size(), prefix) == 0) matching.push_back(std::move(line));
        }
        return matching;
    }

    size_t call_count() const { return static_cast<size_t>(call_count_()); }
    void clear() { clear_calls_(); }

    bool wait_for_calls(size_t count, std::chrono::milliseconds timeout = default_timeout) {
        return wait_for_calls_(static_cast<int>(count), milliseconds(timeout)) != 0;
    }
    bool wait_for_call(const std::string& prefix,
                       std::chrono::milliseconds timeout = default_timeout) {
        return wait_for_call_(prefix.c_str(), milliseconds(timeout)) != 0;
    }

    std::optional<video_layout_format> last_layout() const {
        video_layout_format layout{};
        if (last_layout_(&layout) == 0) return std::nullopt;
        return layout;
    }

    // ---- Factory and counters

    void fail_factory(bool fail) { fail_factory_(fail ? 1 : 0); }
    int objects_created() const { return objects_created_(); }
    int objects_released() const { return objects_released_(); }
    int objects_alive() const { return objects_alive_(); }
    int factory_refusals() const { return factory_refusals_(); }
    int initialize_calls() const { return initialize_calls_(); }
    int deliveries_done() const { return deliveries_done_(); }
    int deliveries_dropped() const { return deliveries_dropped_(); }

    // ---- Deliveries (queued; they arrive on the double's own thread)

    void respond(const std::string& text, const std::string& ip, int status = 0) {
        respond_(text.c_str(), ip.c_str(), status);
    }

    void discover(const std::vector<std::string>& entries) {
        std::vector<const char*> pointers;
        pointers.reserve(entries.size());
        for (const std::string& entry : entries) pointers.push_back(entry.c_str());
        discover_(pointers.data(), static_cast<int>(pointers.size()));
    }

    bool wait_idle(std::chrono::milliseconds timeout = default_timeout) {
        return wait_idle_(milliseconds(timeout)) != 0;
    }

    // Scripts the camera: handler runs on the delivery thread after every
    // recorded operation and may respond()/discover(). Pass nullptr to stop.
    void on_call(CallHandler handler) {
        set_responder_(nullptr, nullptr);  // waits out a running call
        on_call_ = std::move(handler);
        if (on_call_) set_responder_(&ClientDouble::dispatch_call, this);
    }

private:
    template <typename Function>
    void bind(Function*& function, const char* name) {
        function = reinterpret_cast<Function*>(dlsym(handle_, name));
        if (function == nullptr) {
            throw std::runtime_error(std::string("client double lacks ") + name);
        }
    }

    static int milliseconds(std::chrono::milliseconds timeout) {
        return static_cast<int>(timeout.count());
    }

    static void dispatch_call(const char* line, const char* ip, void* user) {
        auto* self = static_cast<ClientDouble*>(user);
        try {
            self->on_call_(line, ip, *self);
        } catch (const std::exception& error) {
            // Nothing may unwind into the double's C frames.
            std::fprintf(stderr, "ClientDouble::on_call handler threw: %s\n", error.what());
            std::abort();
        }
    }

    void* handle_ = nullptr;
    CallHandler on_call_;

    decltype(&vd_reset) reset_ = nullptr;
    decltype(&vd_clear_calls) clear_calls_ = nullptr;
    decltype(&vd_call_count) call_count_ = nullptr;
    decltype(&vd_call_at) call_at_ = nullptr;
    decltype(&vd_wait_for_calls) wait_for_calls_ = nullptr;
    decltype(&vd_wait_for_call) wait_for_call_ = nullptr;
    decltype(&vd_last_layout) last_layout_ = nullptr;
    decltype(&vd_fail_factory) fail_factory_ = nullptr;
    decltype(&vd_objects_created) objects_created_ = nullptr;
    decltype(&vd_objects_released) objects_released_ = nullptr;
    decltype(&vd_objects_alive) objects_alive_ = nullptr;
    decltype(&vd_factory_refusals) factory_refusals_ = nullptr;
    decltype(&vd_initialize_calls) initialize_calls_ = nullptr;
    decltype(&vd_deliveries_done) deliveries_done_ = nullptr;
    decltype(&vd_deliveries_dropped) deliveries_dropped_ = nullptr;
    decltype(&vd_respond) respond_ = nullptr;
    decltype(&vd_discover) discover_ = nullptr;
    decltype(&vd_wait_idle) wait_idle_ = nullptr;
    decltype(&vd_set_responder) set_responder_ = nullptr;
};

#endif  // OSC_TESTS_SUPPORT_CLIENT_DOUBLE_H
