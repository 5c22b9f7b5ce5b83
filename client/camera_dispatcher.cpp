#include "client/camera_dispatcher.h"

namespace oscclient {

void CameraDispatcher::submit(const std::string& ip, Job job) {
    loop_.post([this, ip, job = std::move(job)]() mutable {
        std::unique_ptr<Camera>& camera = cameras_[ip];
        if (!camera) camera = std::make_unique<Camera>(Camera{{ip, ""}, {}, false});
        camera->jobs.push_back(std::move(job));
        run_next(*camera);
    });
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
