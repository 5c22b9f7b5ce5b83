// What the answer parsers may do for the one camera whose answer they read.
// The handler implements it over the camera's record, queue and the host's
// callbacks; tests implement it to watch a parser in isolation.
#pragma once

#include <functional>
#include <string>

#include "model/cam_param.h"

class ResponseSink {
public:
    using RecordEdit = std::function<void(CAM_PARAM&)>;

    virtual ~ResponseSink() = default;

    // The camera's IP text, exactly as the client library delivered it.
    virtual const std::string& ip() const = 0;

    // Runs edit on the camera's record under its lock; when edit throws, the
    // record stays as it was. Read and write fields here; never report or
    // queue from inside.
    virtual void update(const RecordEdit& edit) = 0;

    // Holding the camera's queue lock: runs edit on the record (may be empty),
    // then appends (command, the record's http_port) to the camera's queue.
    virtual void queue(const char* command, const RecordEdit& edit = {}) = 0;

    // Host callbacks; each is skipped when the host has not set it.
    virtual bool has_result_callback() const = 0;
    virtual void result(const char* function, bool ok, const std::string& text) = 0;
    virtual void health(bool process_ok, float cpu_usage, float memory_usage, bool in_preview,
                        int mode) = 0;
    virtual void reboot_state(bool state) = 0;
    virtual void upload_confirmed(bool firmware_image) = 0;
    virtual void progress(const std::string& text, int percent) = 0;

    // The parameter document and the ROI document of this camera.
    virtual void notify_parameters() = 0;
    virtual void notify_rois() = 0;

    // Raised by the host's GetROI; answers report the layout only then.
    virtual bool roi_requested() const = 0;

    virtual void log(const std::string& line) = 0;
};
