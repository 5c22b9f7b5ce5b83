// A bounded pool of I/O threads serving every camera. Requests to one camera
// run one at a time in the order they were queued; a camera with a request in
// progress is never picked by a second thread.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "client/camera_link.h"
#include "client/client_options.h"

namespace oscclient {

using Job = std::function<void(CameraLink& link)>;

class CameraDispatcher {
public:
    explicit CameraDispatcher(const ClientOptions& options);
    ~CameraDispatcher();
    CameraDispatcher(const CameraDispatcher&) = delete;
    CameraDispatcher& operator=(const CameraDispatcher&) = delete;

    // Queues a job for the camera and returns at once. Ignored after shutdown.
    void submit(const std::string& ip, Job job);
    // Drops jobs not yet started, aborts running transfers and joins the
    // threads; when it returns no job runs any more.
    void shutdown();

    const std::atomic<bool>& cancelled() const { return cancelled_; }

private:
    struct Camera {
        std::deque<Job> jobs;
        bool busy = false;
        std::unique_ptr<CameraLink> link;
    };

    void serve();

    const ClientOptions& options_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::map<std::string, Camera> cameras_;
    std::deque<std::string> ready_;  // cameras with jobs and none running
    bool stopping_ = false;
    std::atomic<bool> cancelled_{false};
    std::vector<std::thread> threads_;
};

}  // namespace oscclient
