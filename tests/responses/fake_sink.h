// A ResponseSink over an in-memory record that remembers everything a parser
// asked of it, in order, and flags reports or queueing made from inside a
// record edit (the handler holds the camera's lock there).
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "responses/parse_answer.h"
#include "responses/response_sink.h"

namespace responses_test {

inline constexpr const char* kCameraIp = "192.168.1.20";

struct ReportedResult {
    std::string function;
    bool ok = false;
    std::string text;
    bool operator==(const ReportedResult& o) const {
        return function == o.function && ok == o.ok && text == o.text;
    }
};

struct ReportedHealth {
    bool process_ok = false;
    float cpu_usage = 0.0f;
    float memory_usage = 0.0f;
    bool in_preview = false;
    int mode = 0;
};

struct ReportedProgress {
    std::string text;
    int percent = 0;
    bool operator==(const ReportedProgress& o) const {
        return text == o.text && percent == o.percent;
    }
};

struct QueuedCommand {
    std::string command;
    int port = 0;
    bool operator==(const QueuedCommand& o) const { return command == o.command && port == o.port; }
};

inline void PrintTo(const ReportedResult& r, std::ostream* os) {
    *os << "(" << r.function << ", " << r.ok << ", \"" << r.text << "\")";
}
inline void PrintTo(const ReportedProgress& p, std::ostream* os) {
    *os << "(\"" << p.text << "\", " << p.percent << ")";
}
inline void PrintTo(const QueuedCommand& q, std::ostream* os) {
    *os << "(" << q.command << ", " << q.port << ")";
}

class FakeSink final : public ResponseSink {
public:
    CAM_PARAM camera;
    bool result_callback_set = true;
    bool rois_requested = false;

    // Every call in order, as "kind detail"; the typed lists hold the details.
    std::vector<std::string> events;
    std::vector<ReportedResult> results;
    std::vector<ReportedHealth> health_reports;
    std::vector<bool> reboot_states;
    std::vector<bool> uploads;
    std::vector<ReportedProgress> progress_reports;
    std::vector<QueuedCommand> queued;
    std::vector<std::string> logs;
    int parameter_notifications = 0;
    int roi_notifications = 0;

    void parse(const std::string& text) { responses::parse_answer(*this, text); }

    const std::string& ip() const override { return ip_; }

    void update(const RecordEdit& edit) override {
        EditScope scope(*this);
        edit(camera);
    }

    void queue(const char* command, const RecordEdit& edit) override {
        expect_outside_edit("queue");
        {
            EditScope scope(*this);
            if (edit) edit(camera);
        }
        queued.push_back({command, camera.http_port});
        events.push_back(std::string("queue ") + command);
    }

    bool has_result_callback() const override { return result_callback_set; }

    void result(const char* function, bool ok, const std::string& text) override {
        expect_outside_edit("result");
        if (!result_callback_set) return;
        results.push_back({function, ok, text});
        events.push_back(std::string("result ") + function);
    }

    void health(bool process_ok, float cpu_usage, float memory_usage, bool in_preview,
                int mode) override {
        expect_outside_edit("health");
        health_reports.push_back({process_ok, cpu_usage, memory_usage, in_preview, mode});
        events.push_back("health");
    }

    void reboot_state(bool state) override {
        expect_outside_edit("reboot_state");
        reboot_states.push_back(state);
        events.push_back("reboot");
    }

    void upload_confirmed(bool firmware_image) override {
        expect_outside_edit("upload_confirmed");
        uploads.push_back(firmware_image);
        events.push_back("upload");
    }

    void progress(const std::string& text, int percent) override {
        expect_outside_edit("progress");
        progress_reports.push_back({text, percent});
        events.push_back("progress");
    }

    void notify_parameters() override {
        expect_outside_edit("notify_parameters");
        ++parameter_notifications;
        events.push_back("notify parameters");
    }

    void notify_rois() override {
        expect_outside_edit("notify_rois");
        ++roi_notifications;
        events.push_back("notify rois");
    }

    bool roi_requested() const override { return rois_requested; }

    void log(const std::string& line) override {
        expect_outside_edit("log");
        logs.push_back(line);
        events.push_back("log");
    }

private:
    struct EditScope {
        explicit EditScope(FakeSink& sink) : sink_(sink) {
            EXPECT_FALSE(sink_.in_edit_) << "record edits must not nest";
            sink_.in_edit_ = true;
        }
        ~EditScope() { sink_.in_edit_ = false; }
        FakeSink& sink_;
    };

    void expect_outside_edit(const char* call) const {
        EXPECT_FALSE(in_edit_) << call << " called while the record is locked";
    }

    std::string ip_ = kCameraIp;
    bool in_edit_ = false;
};

}  // namespace responses_test
