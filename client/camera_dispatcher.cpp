#include "client/camera_dispatcher.h"

namespace oscclient {

CameraDispatcher::CameraDispatcher(const ClientOptions& options) : options_(options) {
    const std::size_t n = options.io_threads == 0 ? 1 : options.io_threads;
    for (std::size_t i = 0; i < n; ++i) threads_.emplace_back([this] { serve(); });
}

CameraDispatcher::~CameraDispatcher() {
    shutdown();
}

void CameraDispatcher::submit(const std::string& ip, Job job) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_) return;
        Camera& camera = cameras_[ip];
        if (!camera.link) camera.link = std::make_unique<CameraLink>(ip, options_, cancelled_);
        camera.jobs.push_back(std::move(job));
        // A busy camera is queued again by its thread when the job ends.
        if (camera.busy || camera.jobs.size() > 1) return;
        ready_.push_back(ip);
    }
    wake_.notify_one();
}

void CameraDispatcher::shutdown() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_ && threads_.empty()) return;
        stopping_ = true;
        ready_.clear();
        for (auto& entry : cameras_) entry.second.jobs.clear();
    }
    cancelled_ = true;
    wake_.notify_all();
    for (std::thread& t : threads_) {
        if (t.joinable()) t.join();
    }
    threads_.clear();
    std::lock_guard<std::mutex> lock(mutex_);
    cameras_.clear();
}

void CameraDispatcher::serve() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !ready_.empty(); });
        if (stopping_) return;
        const std::string ip = std::move(ready_.front());
        ready_.pop_front();
        Camera& camera = cameras_[ip];
        Job job = std::move(camera.jobs.front());
        camera.jobs.pop_front();
        camera.busy = true;
        CameraLink& link = *camera.link;
        lock.unlock();
        job(link);
        lock.lock();
        camera.busy = false;
        if (!camera.jobs.empty() && !stopping_) {
            ready_.push_back(ip);
            wake_.notify_one();
        }
    }
}

}  // namespace oscclient
