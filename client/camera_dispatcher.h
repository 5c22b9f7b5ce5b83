// Every camera's jobs, one at a time per camera in the order they were
// queued, and every camera at once: all of it runs on the transfer loop's
// thread, so a camera waiting for its answer holds no thread.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include "client/camera_link.h"
#include "client/client_options.h"
#include "client/transfer_loop.h"

namespace oscclient {

class CameraDispatcher {
public:
    using Finished = std::function<void()>;
    // Runs on the loop thread and calls `finished` once when it is over:
    // at once, or from the answer of an exchange it started.
    using Job = std::function<void(CameraLink& link, TransferLoop& loop, Finished finished)>;

    explicit CameraDispatcher(const ClientOptions& options) : loop_(options) {}
    ~CameraDispatcher() { shutdown(); }
    CameraDispatcher(const CameraDispatcher&) = delete;
    CameraDispatcher& operator=(const CameraDispatcher&) = delete;

    // Any thread: queues a job for the camera and returns at once. Ignored
    // after shutdown.
    void submit(const std::string& ip, Job job);
    // Drops jobs not yet started, ends the exchanges in flight (their jobs
    // deliver a failure) and stops the loop: once it returns no job runs.
    void shutdown() { loop_.shutdown(); }

private:
    struct Camera {
        CameraLink link;
        std::deque<Job> jobs;
        bool busy = false;
        std::uint64_t last_submit = 0;  // submission count when its latest job came
    };

    void run_next(Camera& camera);
    // Past kKeptCameras, forgets the idle camera that has waited longest: a
    // host drives at most 99 cameras at a time, but over days may meet many
    // more addresses. An idle camera has no job that refers to it.
    void forget_a_camera();

    // Declared before the loop, so that the loop's thread has ended before
    // the cameras go.
    std::unordered_map<std::string, std::unique_ptr<Camera>> cameras_;  // loop thread only
    std::uint64_t submits_ = 0;                                         // loop thread only
    TransferLoop loop_;
};

}  // namespace oscclient
