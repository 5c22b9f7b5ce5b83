#include "client_driver.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace bench {

namespace {

ClientDriver* g_driver = nullptr;

using Request = int (IVeskOSC_Tendra::*)(const char* ip, int port);

// The handler's refresh, without StartStreaming, which follows the document.
constexpr Request kRefresh[ClientDriver::kRefreshRequests] = {
    &IVeskOSC_Tendra::GetNetSetting, &IVeskOSC_Tendra::GetSyslogEnable,
    &IVeskOSC_Tendra::GetAuthEnable, &IVeskOSC_Tendra::GetROI,
    &IVeskOSC_Tendra::GetInfo,       &IVeskOSC_Tendra::GetServicePorts,
    &IVeskOSC_Tendra::GetCameraName, &IVeskOSC_Tendra::GetOptionsAll};

// Cameras are 127.0.0.1.., so the last number names the camera.
int camera_of(const char* ip) {
    const char* dot = ip != nullptr ? std::strrchr(ip, '.') : nullptr;
    return dot != nullptr ? std::atoi(dot + 1) - 1 : -1;
}

}  // namespace

ClientDriver::ClientDriver(const std::string& dir) {
    using Create = int (*)(OSC_IID, IVeskOSC_Tendra**);
    const std::string path = dir + "/libVesk_OSC.dylib";
    library_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    auto create =
        library_ ? reinterpret_cast<Create>(dlsym(library_, "CreateVeskOscObject")) : nullptr;
    if (create == nullptr || create(IID_OSCAPI, &client_) != 0 || client_ == nullptr) {
        std::fprintf(stderr, "cannot load the client library %s\n", path.c_str());
        std::exit(1);
    }
    g_driver = this;
    client_->SetOscCallback(&ClientDriver::on_answer);
    client_->Initialize();
}

ClientDriver::~ClientDriver() {
    using Release = int (*)(IVeskOSC_Tendra**);
    if (auto release = reinterpret_cast<Release>(dlsym(library_, "ReleaseVeskOscObject"))) {
        release(&client_);
    }
    dlclose(library_);
    g_driver = nullptr;
}

void ClientDriver::on_answer(const char*, const char* ip, int status) {
    ClientDriver& d = *g_driver;
    const auto now = Clock::now();
    std::lock_guard<std::mutex> lock(d.mutex_);
    const int camera = camera_of(ip);
    const bool ours = camera >= 0 && camera < static_cast<int>(d.ips_.size());
    if (status != 0 || !ours) {
        if (d.failures_++ < 5) std::fprintf(stderr, "client: %s failed (%d)\n", ip, status);
    }
    if (ours) d.ready_.push_back(camera);
    d.last_answer_ = now;
    d.answered_.notify_one();
}

double ClientDriver::refresh(int port, int cameras, int requests) {
    requests = std::min(std::max(requests, 1), kRefreshRequests);
    std::vector<int> sent(cameras, 0);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        ips_.clear();
        for (int i = 0; i < cameras; ++i) ips_.push_back(camera_ip(i));
        ready_.clear();
        failures_ = 0;
    }
    // Called on this thread only, never from the client's callback: the
    // handler's workers call the client from their own threads too.
    const auto start = Clock::now();
    for (int i = 0; i < cameras; ++i) (client_->*kRefresh[sent[i]++])(ips_[i].c_str(), port);
    int done = 0;
    std::unique_lock<std::mutex> lock(mutex_);
    while (done < cameras) {
        if (!answered_.wait_for(lock, std::chrono::minutes(1), [&] { return !ready_.empty(); }) ||
            failures_ > 0) {
            std::fprintf(stderr, "client: %d of %d cameras done, %ld failures\n", done, cameras,
                         failures_);
            std::exit(1);
        }
        const int camera = ready_.front();
        ready_.pop_front();
        if (sent[camera] == requests) {
            ++done;
            continue;
        }
        const Request next = kRefresh[sent[camera]++];
        lock.unlock();
        (client_->*next)(ips_[camera].c_str(), port);
        lock.lock();
    }
    return seconds_between(start, last_answer_);
}

}  // namespace bench
