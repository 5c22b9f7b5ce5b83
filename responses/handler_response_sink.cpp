#include "responses/handler_response_sink.h"

#include <utility>

HandlerResponseSink::HandlerResponseSink(OSCAPIHANDLER& handler, std::string ip,
                                         CameraEntryPtr camera, int slot)
    : handler_(handler), ip_(std::move(ip)), camera_(std::move(camera)), slot_(slot) {}

// On a copy: an answer value the edit cannot read (it throws) leaves the
// record as it was, not half changed.
void HandlerResponseSink::update(const RecordEdit& edit) {
    camera_->update([&edit](CAM_PARAM& record) {
        CAM_PARAM edited = record;
        edit(edited);
        record = std::move(edited);
    });
}

void HandlerResponseSink::queue(const char* command, const RecordEdit& edit) {
    if (slot_ < 0) return;
    std::lock_guard<std::mutex> lock(handler_.m_cmdMutex[slot_]);
    const int port = camera_->update([&](CAM_PARAM& r) {
        if (edit) edit(r);
        return r.http_port;
    });
    handler_._push_command(slot_, QueuedCommand{command, port});
}

bool HandlerResponseSink::has_result_callback() const {
    return handler_.m_cbCommandResult.load() != nullptr;
}

void HandlerResponseSink::result(const char* function, bool ok, const std::string& text) {
    if (CommandResultCallback callback = handler_.m_cbCommandResult.load()) {
        callback(ip_.c_str(), function, ok, text.c_str());
    }
}

void HandlerResponseSink::health(bool process_ok, float cpu_usage, float memory_usage,
                                 bool in_preview, int mode) {
    if (HealthUsageCallback callback = handler_.m_cbHealthUsage.load()) {
        callback(ip_.c_str(), process_ok, cpu_usage, memory_usage, in_preview, mode);
    }
}

void HandlerResponseSink::reboot_state(bool state) {
    if (RebootStateCallback callback = handler_.m_cbRebootState.load()) {
        callback(ip_.c_str(), state);
    }
}

void HandlerResponseSink::upload_confirmed(bool firmware_image) {
    if (FWUpdateResultCallback callback = handler_.m_cbFWResult.load()) {
        callback(ip_.c_str(), firmware_image);
    }
}

void HandlerResponseSink::progress(const std::string& text, int percent) {
    if (FWUpdateProgressCallback callback = handler_.m_cbFWProgress.load()) {
        callback(ip_.c_str(), text.c_str(), percent);
    }
}

void HandlerResponseSink::notify_parameters() {
    handler_._notify_camera_parameters(ip_.c_str());
}

void HandlerResponseSink::notify_rois() {
    handler_._notify_camera_rois(ip_.c_str());
}

bool HandlerResponseSink::roi_requested() const {
    return handler_.m_roiRequested;
}

void HandlerResponseSink::log(const std::string& line) {
    handler_._put_log(line);
}
