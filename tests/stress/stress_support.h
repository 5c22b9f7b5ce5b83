// Shared pieces of the stress tests: a watchdog against deadlocks, host
// callbacks that only count (and notice when they run after Destroy), and
// environment-tunable repeat counts.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

#include "IVeskOSCHandlerInst.h"

namespace stress {

// A positive integer from the environment, or fallback.
inline int env_count(const char* name, int fallback) {
    const char* text = std::getenv(name);
    if (text == nullptr) return fallback;
    const int value = std::atoi(text);
    return value > 0 ? value : fallback;
}

// Aborts the process when not disarmed in time: a deadlocked test can never
// finish on its own, and a join on a deadlocked thread would hang CTest until
// its own timeout with no hint of where.
class Watchdog {
public:
    Watchdog(std::string what, std::chrono::seconds limit)
        : what_(std::move(what)), thread_([this, limit] { watch(limit); }) {}
    ~Watchdog() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            disarmed_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

private:
    void watch(std::chrono::seconds limit) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!changed_.wait_for(lock, limit, [this] { return disarmed_; })) {
            std::fprintf(stderr, "watchdog: %s did not finish within %lld s (deadlock?)\n",
                         what_.c_str(), static_cast<long long>(limit.count()));
            std::abort();
        }
    }

    std::string what_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool disarmed_ = false;
    std::thread thread_;
};

// Host callbacks that count what arrives. Between arm() and disarm() a
// callback is expected; after disarm() (Destroy has returned) any callback is
// a late one and counted as such.
class CallbackCounter {
public:
    static CallbackCounter& instance() {
        static CallbackCounter counter;
        return counter;
    }

    void install() {
        SetDataCallback(&on_device_list, &on_parameters, &on_result, &on_health);
        SetFWUpdateCallback(&on_upload, &on_progress);
        SetRebootStateCallback(&on_reboot);
        SetLogCallback(&on_log);
    }

    void handler_alive() { destroyed_ = false; }
    void handler_destroyed() { destroyed_ = true; }

    long callbacks() const { return callbacks_; }
    long late_callbacks() const { return late_; }
    long log_lines() const { return logs_; }
    void reset() {
        callbacks_ = 0;
        late_ = 0;
        logs_ = 0;
    }

private:
    void seen() {
        ++callbacks_;
        if (destroyed_) ++late_;
    }

    static void on_device_list(const char*) { instance().seen(); }
    static void on_parameters(const char*, const char*) { instance().seen(); }
    static void on_result(const char*, const char*, bool, const char*) { instance().seen(); }
    static void on_health(const char*, bool, float, float, bool, int) { instance().seen(); }
    static void on_upload(const char*, bool) { instance().seen(); }
    static void on_progress(const char*, const char*, int) { instance().seen(); }
    static void on_reboot(const char*, bool) { instance().seen(); }
    static void on_log(const char*) {
        ++instance().logs_;
        instance().seen();
    }

    std::atomic<long> callbacks_{0};
    std::atomic<long> late_{0};
    std::atomic<long> logs_{0};
    std::atomic<bool> destroyed_{true};
};

inline std::string camera_ip(int index) {
    return "10.9." + std::to_string(index / 200) + "." + std::to_string(1 + index % 200);
}

}  // namespace stress
