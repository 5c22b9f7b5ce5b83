#include "client/camera_dispatcher.h"

namespace oscclient {

namespace {
// Well above a host's 99, so that a camera in use keeps its link.
constexpr std::size_t kKeptCameras = 256;
}  // namespace

void CameraDispatcher::submit(const std::string& ip, Job job) {
    loop_.post([this, ip, job = std::move(job)]() mutable {
        std::unique_ptr<Camera>& entry = cameras_[ip];
        if (!entry) entry = std::make_unique<Camera>(Camera{{ip, ""}, {}, false, 0});
        Camera& camera = *entry;  // the map may rehash below; the camera stays
        camera.last_submit = ++submits_;
        camera.jobs.push_back(std::move(job));
        if (cameras_.size() > kKeptCameras) forget_a_camera();
        run_next(camera);
    });
}

void CameraDispatcher::forget_a_camera() {
    auto oldest = cameras_.end();
    for (auto it = cameras_.begin(); it != cameras_.end(); ++it) {
        const Camera& c = *it->second;
        if (c.busy || !c.jobs.empty()) continue;
        if (oldest == cameras_.end() || c.last_submit < oldest->second->last_submit) oldest = it;
    }
    if (oldest != cameras_.end()) cameras_.erase(oldest);
}

void CameraDispatcher::run_next(Camera& camera) {
    if (camera.busy || camera.jobs.empty()) return;
    Job job = std::move(camera.jobs.front());
    camera.jobs.pop_front();
    camera.busy = true;
    // The next job starts from the loop, not from inside this one, so that
    // a run of jobs that end at once cannot nest.
    auto ended = std::make_shared<bool>(false);
    Finished finished = [this, &camera, ended] {
        if (*ended) return;
        *ended = true;
        loop_.post([this, &camera] {
            camera.busy = false;
            run_next(camera);
        });
    };
    try {
        job(camera.link, loop_, finished);
    } catch (...) {
        finished();
    }
}

}  // namespace oscclient
