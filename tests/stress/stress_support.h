// Shared pieces of the stress tests and soaks: a watchdog against deadlocks,
// host callbacks that only count (and notice a late one), repeat counts from
// the environment, canned camera answers and the one traffic driver.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "IVeskOSCHandlerInst.h"
#include "stress/host_operations.h"
#include "support/client_double.h"

namespace stress {

// A positive integer from the environment, or fallback.
inline int env_count(const char* name, int fallback) {
    const char* text = std::getenv(name);
    const int value = text != nullptr ? std::atoi(text) : 0;
    return value > 0 ? value : fallback;
}

// Aborts the process when not disarmed in time: a deadlocked test never ends on
// its own, and a join on a deadlocked thread would give no hint of where.
class Watchdog {
public:
    Watchdog(std::string what, std::chrono::seconds limit)
        : what_(std::move(what)), thread_([this, limit] {
              std::unique_lock<std::mutex> lock(mutex_);
              if (!disarmed_.wait_for(lock, limit, [this] { return done_; })) {
                  std::fprintf(stderr, "watchdog: %s did not finish in time (deadlock?)\n",
                               what_.c_str());
                  std::abort();
              }
          }) {}
    ~Watchdog() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            done_ = true;
        }
        disarmed_.notify_all();
        thread_.join();
    }

private:
    std::string what_;
    std::mutex mutex_;
    std::condition_variable disarmed_;
    bool done_ = false;
    std::thread thread_;
};

// Host callbacks that count what arrives; after handler_destroyed() (Destroy
// has returned) every callback is a late one.
class CallbackCounter {
public:
    static CallbackCounter& instance() {
        static CallbackCounter counter;
        return counter;
    }
    void install() {
        SetDataCallback([](const char*) { seen(); }, [](const char*, const char*) { seen(); },
                        [](const char*, const char*, bool, const char*) { seen(); },
                        [](const char*, bool, float, float, bool, int) { seen(); });
        SetFWUpdateCallback([](const char*, bool) { seen(); },
                            [](const char*, const char*, int) { seen(); });
        SetRebootStateCallback([](const char*, bool) { seen(); });
        SetLogCallback([](const char*) { seen(); });
    }
    void handler_alive() { destroyed_ = false; }
    void handler_destroyed() { destroyed_ = true; }
    long callbacks() const { return callbacks_; }
    long late_callbacks() const { return late_; }

private:
    static void seen() {
        ++instance().callbacks_;
        if (instance().destroyed_) ++instance().late_;
    }
    std::atomic<long> callbacks_{0}, late_{0};
    std::atomic<bool> destroyed_{true};
};

inline std::string camera_ip(int index) {
    return "10.9." + std::to_string(index / 200) + "." + std::to_string(1 + index % 200);
}

// A scripted camera: every call is answered with one of a few realistic
// documents, failures and garbage, picked by the call line.
inline DoubleState::Responder canned_answers(DoubleState& client) {
    return [&client](const std::string& line, const std::string& ip) {
        static const std::pair<const char*, int> kAnswers[] = {
            {"{}", 0},
            {R"({"name":"camera.setOptions","func":"SetBrightness"})", 0},
            {R"({"model":"M3VX27164","serialNumber":"SN-1"})", 0},
            {R"({"name":"camera.getOptions","results":{"options":{"_contrast":3}}})", 0},
            {R"({"func":"SetBrightness","reason":"busy"})", 1},
            {"not json at all", 0},
        };
        if (ip.empty()) return;
        const auto& answer = kAnswers[std::hash<std::string>{}(line) % std::size(kAnswers)];
        client.respond(answer.first, ip, answer.second);
    };
}

// Random host operations on `cameras` (ip, port) until `until`, `pace`
// apart; every 50th also runs `now_and_then` for the camera it picked.
// Returns the number of operations.
inline long drive_host_traffic(const std::vector<std::pair<std::string, int>>& cameras,
                               std::mt19937& random, std::chrono::steady_clock::time_point until,
                               std::chrono::milliseconds pace,
                               const std::function<void(std::size_t camera)>& now_and_then) {
    std::uniform_int_distribution<std::size_t> camera_pick(0, cameras.size() - 1);
    std::uniform_int_distribution<std::size_t> operation_pick(0, kHostOperations.size() - 1);
    long round = 0;
    while (std::chrono::steady_clock::now() < until) {
        const std::size_t camera = camera_pick(random);
        kHostOperations[operation_pick(random)](cameras[camera].first.c_str(),
                                                cameras[camera].second,
                                                static_cast<int>(camera_pick(random)));
        if (++round % 50 == 0) now_and_then(camera);
        std::this_thread::sleep_for(pace);
    }
    return round;
}

}  // namespace stress
