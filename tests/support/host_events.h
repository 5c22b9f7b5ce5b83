// Records every host callback of the handler, for tests. Callbacks are plain C
// function pointers, so the recorder is one process-wide instance.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "IVeskOSCHandlerInst.h"

struct CommandResult {
    std::string ip, command;
    bool ok = false;
    std::string message;
    bool operator==(const CommandResult& o) const {
        return ip == o.ip && command == o.command && ok == o.ok && message == o.message;
    }
};

struct HealthReport {
    std::string ip;
    bool process_ok = false;
    float cpu = 0, memory = 0;
    bool in_preview = false;
    int mode = 0;
};

struct ProgressReport {
    std::string ip, text;
    int percent = 0;
};

class HostEvents {
public:
    static HostEvents& instance() {
        static HostEvents events;
        return events;
    }

    void clear() {
        std::lock_guard<std::mutex> lock(mutex_);
        results_.clear();
        parameters_.clear();
        device_lists_.clear();
        health_.clear();
        uploads_.clear();
        progress_.clear();
        reboots_.clear();
        logs_.clear();
    }

    // Installs every callback on the current handler.
    static void install() {
        SetDataCallback(&on_device_list, &on_parameters, &on_result, &on_health);
        SetFWUpdateCallback(&on_upload, &on_progress);
        SetRebootStateCallback(&on_reboot);
        SetLogCallback(&on_log);
    }

    template <class T>
    using Snapshot = std::vector<T>;

    Snapshot<CommandResult> results() const { return copy(results_); }
    Snapshot<std::pair<std::string, std::string>> parameters() const { return copy(parameters_); }
    Snapshot<std::string> device_lists() const { return copy(device_lists_); }
    Snapshot<HealthReport> health() const { return copy(health_); }
    Snapshot<std::pair<std::string, bool>> uploads() const { return copy(uploads_); }
    Snapshot<ProgressReport> progress() const { return copy(progress_); }
    Snapshot<std::pair<std::string, bool>> reboots() const { return copy(reboots_); }
    Snapshot<std::string> logs() const { return copy(logs_); }

    bool has_log(const std::string& line) const {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& l : logs_) {
            if (l == line) return true;
        }
        return false;
    }

    size_t count_log(const std::string& line) const {
        std::lock_guard<std::mutex> lock(mutex_);
        size_t n = 0;
        for (const auto& l : logs_) n += l == line ? 1 : 0;
        return n;
    }

    // Waits until pred() holds (checked after every event), or the timeout.
    bool wait_for(const std::function<bool()>& pred,
                  std::chrono::milliseconds timeout = std::chrono::milliseconds(5000)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (true) {
            std::uint64_t seen;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                seen = generation_;
            }
            if (pred()) return true;
            std::unique_lock<std::mutex> lock(mutex_);
            // An event between pred() and here bumped the generation.
            if (!changed_.wait_until(lock, deadline, [&] { return generation_ != seen; })) {
                lock.unlock();
                return pred();
            }
        }
    }

private:
    template <class T>
    std::vector<T> copy(const std::vector<T>& v) const {
        std::lock_guard<std::mutex> lock(mutex_);
        return v;
    }

    template <class T>
    void add(std::vector<T>& v, T value) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            v.push_back(std::move(value));
            ++generation_;
        }
        changed_.notify_all();
    }

    static void on_device_list(const char* list) {
        instance().add(instance().device_lists_, std::string(list));
    }
    static void on_parameters(const char* ip, const char* json) {
        instance().add(instance().parameters_, std::make_pair(std::string(ip), std::string(json)));
    }
    static void on_result(const char* ip, const char* command, bool ok, const char* message) {
        instance().add(instance().results_, CommandResult{ip, command, ok, message});
    }
    static void on_health(const char* ip, bool process_ok, float cpu, float memory, bool in_preview,
                          int mode) {
        instance().add(instance().health_,
                       HealthReport{ip, process_ok, cpu, memory, in_preview, mode});
    }
    static void on_upload(const char* ip, bool ok) {
        instance().add(instance().uploads_, std::make_pair(std::string(ip), ok));
    }
    static void on_progress(const char* ip, const char* text, int value) {
        instance().add(instance().progress_, ProgressReport{ip, text, value});
    }
    static void on_reboot(const char* ip, bool state) {
        instance().add(instance().reboots_, std::make_pair(std::string(ip), state));
    }
    static void on_log(const char* line) { instance().add(instance().logs_, std::string(line)); }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t generation_ = 0;
    std::vector<CommandResult> results_;
    std::vector<std::pair<std::string, std::string>> parameters_;
    std::vector<std::string> device_lists_;
    std::vector<HealthReport> health_;
    std::vector<std::pair<std::string, bool>> uploads_;
    std::vector<ProgressReport> progress_;
    std::vector<std::pair<std::string, bool>> reboots_;
    std::vector<std::string> logs_;
};
