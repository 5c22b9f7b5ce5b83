// The handler's side of ResponseSink: one camera's record, queue and the
// host's callbacks, for the duration of one answer.
#pragma once

#include <string>

#include "facade/oscapi_handler.h"
#include "responses/response_sink.h"

class HandlerResponseSink final : public ResponseSink {
public:
    HandlerResponseSink(OSCAPIHANDLER& handler, std::string ip, CameraEntryPtr camera, int slot);

    const std::string& ip() const override { return ip_; }
    void update(const RecordEdit& edit) override;
    void queue(const char* command, const RecordEdit& edit) override;
    bool has_result_callback() const override;
    void result(const char* function, bool ok, const std::string& text) override;
    void health(bool process_ok, float cpu_usage, float memory_usage, bool in_preview,
                int mode) override;
    void reboot_state(bool state) override;
    void upload_confirmed(bool firmware_image) override;
    void progress(const std::string& text, int percent) override;
    void notify_parameters() override;
    void notify_rois() override;
    bool roi_requested() const override;
    void log(const std::string& line) override;

private:
    OSCAPIHANDLER& handler_;
    std::string ip_;
    CameraEntryPtr camera_;
    int slot_;
};
