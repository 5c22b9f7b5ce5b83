// Downloads the pictures cameras report after TakeScreenShot, off the
// handler's callback threads. One pending download per camera: a newer
// picture replaces an older one not yet fetched.
#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "tools/console/fleet_store.h"

namespace osconsole {

class ScreenshotFetcher {
public:
    explicit ScreenshotFetcher(FleetStore& store);
    ~ScreenshotFetcher();
    ScreenshotFetcher(const ScreenshotFetcher&) = delete;
    ScreenshotFetcher& operator=(const ScreenshotFetcher&) = delete;

    // `address` is what the camera answered ("http://IP/tmp/captureN.jpeg").
    void request(const std::string& ip, const std::string& address);
    void stop();

private:
    void run();
    void fetch(const std::string& ip, const std::string& address);

    FleetStore& store_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::map<std::string, std::string> pending_;  // ip -> address
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace osconsole
