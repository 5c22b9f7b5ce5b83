// Records every host callback of the handler as one text line per event, and
// results, documents, device lists and log lines also as values. Callbacks
// are plain C function pointers, so there is one recorder.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "IVeskOSCHandlerInst.h"
#include "support/eventually.h"

struct CommandResult {
    std::string ip, command;
    bool ok = false;
    std::string message;
    bool operator==(const CommandResult& o) const {
        return ip == o.ip && command == o.command && ok == o.ok && message == o.message;
    }
};

class HostEvents {
public:
    using Document = std::pair<std::string, std::string>;  // ip, JSON
    static HostEvents& instance() {
        static HostEvents events;
        return events;
    }
    static void install() {
        SetDataCallback(&on_device_list, &on_parameters, &on_result, &on_health);
        SetFWUpdateCallback(&on_upload, &on_progress);
        SetRebootStateCallback(&on_reboot);
        SetLogCallback(&on_log);
    }
    void clear() {
        std::lock_guard<std::mutex> lock(mutex());
        *this = HostEvents();
    }

    // "result 10.0.0.5 SetBrightness ok <message>", "log <line>", ...: every event in order.
    std::vector<std::string> lines() const { return copy(&HostEvents::lines_); }
    std::vector<CommandResult> results() const { return copy(&HostEvents::results_); }
    std::vector<Document> parameters() const { return copy(&HostEvents::parameters_); }
    std::vector<std::string> device_lists() const { return copy(&HostEvents::device_lists_); }
    std::vector<std::string> logs() const { return copy(&HostEvents::logs_); }
    bool has_line(const std::string& line) const {
        const std::vector<std::string> all = lines();
        return std::find(all.begin(), all.end(), line) != all.end();
    }

    // Waits until pred() holds, or the timeout.
    bool wait_for(const std::function<bool()>& pred,
                  std::chrono::milliseconds timeout = std::chrono::milliseconds(10000)) {
        return osctest::eventually(pred, timeout);
    }
    bool wait_for_line(const std::string& line) {
        return wait_for([&] { return has_line(line); });
    }
    // Runs `action` once, inside the callback and on its thread, for the
    // first event whose line starts with `prefix`: a host reacting to it.
    void react_once(std::string prefix, std::function<void()> action) {
        std::lock_guard<std::mutex> lock(mutex());
        reaction_ = {std::move(prefix), std::move(action)};
    }

private:
    static std::mutex& mutex() {
        static std::mutex m;
        return m;
    }
    template <class T>
    T copy(T HostEvents::*member) const {
        std::lock_guard<std::mutex> lock(mutex());
        return this->*member;
    }
    // The event's line and, for some kinds, its typed form.
    template <class T = int>
    static void add(std::string line, std::vector<T> HostEvents::*member = nullptr, T value = {}) {
        std::function<void()> reaction;
        {
            std::lock_guard<std::mutex> lock(mutex());
            auto& [prefix, action] = instance().reaction_;
            if (action && line.rfind(prefix, 0) == 0) reaction = std::exchange(action, nullptr);
            if (member) (instance().*member).push_back(std::move(value));
            instance().lines_.push_back(std::move(line));
        }
        if (reaction) reaction();
    }
    static std::string flag(bool b) { return b ? "true" : "false"; }

    static void on_device_list(const char* list) {
        add(std::string("devices ") + list, &HostEvents::device_lists_, std::string(list));
    }
    static void on_parameters(const char* ip, const char* json) {
        add(std::string("params ") + ip + " " + json, &HostEvents::parameters_, Document(ip, json));
    }
    static void on_result(const char* ip, const char* command, bool ok, const char* message) {
        add(std::string("result ") + ip + " " + command + (ok ? " ok " : " failed ") + message,
            &HostEvents::results_, CommandResult{ip, command, ok, message});
    }
    static void on_health(const char* ip, bool process_ok, float cpu, float memory, bool preview,
                          int mode) {
        char text[160];
        std::snprintf(text, sizeof text, "health %s %d %g %g %d %d", ip, process_ok, cpu, memory,
                      preview, mode);
        add(text);
    }
    static void on_upload(const char* ip, bool ok) {
        add(std::string("upload ") + ip + " " + flag(ok));
    }
    static void on_progress(const char* ip, const char* text, int value) {
        add(std::string("progress ") + ip + " " + std::to_string(value) + " " + text);
    }
    static void on_reboot(const char* ip, bool state) {
        add(std::string("reboot ") + ip + " " + flag(state));
    }
    static void on_log(const char* line) {
        add(std::string("log ") + line, &HostEvents::logs_, std::string(line));
    }

    std::pair<std::string, std::function<void()>> reaction_;
    std::vector<std::string> lines_, device_lists_, logs_;
    std::vector<CommandResult> results_;
    std::vector<Document> parameters_;
};
