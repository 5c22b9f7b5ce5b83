#include "sim_fleet.h"

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "fleet_host.h"

namespace bench {

SimFleet::SimFleet(int count) : fleet_(oscsim::SimConfig{}, count), arrivals_(count) {
    if (!fleet_.start()) {
        std::fprintf(stderr, "cannot start %d simulated cameras on 127.0.0.x\n", count);
        std::exit(1);
    }
    port_ = fleet_.port();
    watch_answers(port_, count);
    for (int i = 0; i < count; ++i) {
        fleet_.cameras()[i]->on_request([this, i](const oscsim::LoggedRequest& r) {
            g_arrival[i] = now_ns();
            std::lock_guard<std::mutex> lock(mutex_);
            arrivals_[i].push_back({Clock::now(), r});
        });
    }
}

SimFleet::~SimFleet() {
    fleet_.stop();
}

void SimFleet::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& a : arrivals_) a.clear();
}

std::vector<Arrival> SimFleet::arrivals(int camera) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return arrivals_[camera];
}

long SimFleet::total() const {
    std::lock_guard<std::mutex> lock(mutex_);
    long n = 0;
    for (const auto& a : arrivals_) n += static_cast<long>(a.size());
    return n;
}

void SimFleet::set_latency(int ms) {
    for (auto& camera : fleet_.cameras()) {
        oscsim::Faults f = camera->faults();
        f.latency_ms = ms;
        camera->set_faults(f);
    }
}

void SimFleet::hold_answers(bool hold) {
    for (auto& camera : fleet_.cameras()) {
        oscsim::Faults f = camera->faults();
        f.never_answer = hold;
        camera->set_faults(f);
    }
}

void SimFleet::wait_quiet(std::chrono::milliseconds quiet) const {
    long before = -1;
    for (int i = 0; i < 200; ++i) {
        const long now = total();
        if (now == before) return;
        before = now;
        std::this_thread::sleep_for(quiet);
    }
}

}  // namespace bench
