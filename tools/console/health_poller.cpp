#include "tools/console/health_poller.h"

#include "IVeskOSCHandlerInst.h"

namespace osconsole {

namespace {

constexpr auto kTick = std::chrono::milliseconds(100);
// An unanswered poll is given up after this long: longer than the handler's
// pause after a reboot (40 s) plus its answer gate (5 s).
constexpr auto kPollGiveUp = std::chrono::seconds(60);
// A camera that has stopped answering fails a poll within the client's
// request limit (4 s) and the handler's answer gate (5 s), or the poll is
// never answered: the handler drops, without a word, the first command queued
// after such a failure. Given up this soon, a camera that is back shows so
// within seconds, not a minute (which an alert would take for an outage).
constexpr auto kSilentPollGiveUp = std::chrono::seconds(10);

}  // namespace

HealthPoller::HealthPoller(FleetStore& store, std::chrono::milliseconds period,
                           std::chrono::milliseconds picture_period)
    : store_(store), period_(period), picture_period_(picture_period), thread_([this] { run(); }) {}

HealthPoller::~HealthPoller() {
    stop();
}

void HealthPoller::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void HealthPoller::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!wake_.wait_for(lock, kTick, [this] { return stopping_; })) {
        lock.unlock();
        const std::vector<PollView> cameras = store_.poll_views();
        for (std::size_t i = 0; i < cameras.size(); ++i) visit(cameras[i], i, cameras.size());
        lock.lock();
    }
}

void HealthPoller::visit(const PollView& camera, std::size_t index, std::size_t count) {
    const char* ip = camera.address.ip.c_str();
    const int port = camera.address.port;
    const Clock::time_point now = Clock::now();
    auto [entry, first_sight] = pace_.try_emplace(camera.address.ip);
    Pace& pace = entry->second;
    const FollowUps& follow = camera.follow_ups;
    const bool fetch = first_sight || follow.refetch;
    if (fetch) {
        store_.apply(camera.address.ip, FetchStarted{});
        GetCameraSettings(ip, port, true);
    }
    // Module versions enter the parameter document only when asked for.
    if (fetch || follow.versions) GetIMRXVersion(ip, port);
    if (follow.roi) GetROI(ip, port);
    // A fetch brings its own document.
    if (follow.report && !follow.roi && !fetch && !camera.fetching) GetCameraParams(ip);
    if (first_sight) {
        pace.next_poll = now + period_ * index / count;
        pace.next_picture = now + picture_period_ * (index + 1) / count;
        return;
    }
    take_picture(camera, pace, now);
    if (now < pace.next_poll) return;
    // A failed poll has ended too: the next one tells when the camera is back.
    const bool ended = !pace.polled || camera.answers != pace.answers_at_poll || !camera.poll_open;
    const auto give_up = camera.silent ? kSilentPollGiveUp : kPollGiveUp;
    if (!ended && now - pace.last_poll < give_up) return;
    store_.apply(camera.address.ip, PollStarted{});
    GetCameraHealthAndUsage(ip, port);
    pace.polled = true;
    pace.last_poll = now;
    pace.answers_at_poll = camera.answers;
    pace.next_poll = now + period_;
}

void HealthPoller::take_picture(const PollView& camera, Pace& pace, Clock::time_point now) {
    if (picture_period_.count() == 0 || !camera.quiet || now < pace.next_picture) return;
    pace.next_picture = now + picture_period_;
    store_.apply(camera.address.ip, ActionQueued{"TakeScreenShot"});
    TakeScreenShot(camera.address.ip.c_str(), camera.address.port);
}

}  // namespace osconsole
