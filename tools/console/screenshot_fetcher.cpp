#include "tools/console/screenshot_fetcher.h"

#include <cstdlib>

#include <httplib.h>

#include "tools/console/thumbnail.h"

namespace osconsole {

namespace {

constexpr std::size_t kMaxPicture = 16 * 1024 * 1024;

// The path part of "http://host[:port]/path"; empty when there is none.
std::string path_of(const std::string& address) {
    const auto scheme = address.find("://");
    if (scheme == std::string::npos) return "";
    const auto path = address.find('/', scheme + 3);
    return path == std::string::npos ? "" : address.substr(path);
}

}  // namespace

ScreenshotFetcher::ScreenshotFetcher(FleetStore& store)
    : store_(store), thread_([this] { run(); }) {}

ScreenshotFetcher::~ScreenshotFetcher() {
    stop();
}

void ScreenshotFetcher::request(const std::string& ip, const std::string& address) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        pending_[ip] = address;
    }
    wake_.notify_all();
}

void ScreenshotFetcher::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void ScreenshotFetcher::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !pending_.empty(); });
        if (stopping_) return;
        const auto next = pending_.begin();
        const std::string ip = next->first;
        const std::string address = next->second;
        pending_.erase(next);
        lock.unlock();
        fetch(ip, address);
        lock.lock();
    }
}

// Only the path is taken from the camera's answer: the picture is fetched
// from the camera's own address and port (the answer names no port), never
// from another host.
void ScreenshotFetcher::fetch(const std::string& ip, const std::string& address) {
    const auto camera = store_.address_of(ip);
    const std::string path = path_of(address);
    if (!camera || path.empty()) return;
    httplib::Client client(camera->ip, camera->port);
    client.set_connection_timeout(2);
    client.set_read_timeout(10);
    // The client library's credentials, for cameras that ask for Digest.
    if (const char* user = std::getenv("OSC_CAMERA_USER")) {
        const char* password = std::getenv("OSC_CAMERA_PASSWORD");
        client.set_digest_auth(user, password ? password : "");
    }
    std::string body;
    const auto response = client.Get(path.c_str(), [&](const char* data, std::size_t length) {
        if (body.size() + length > kMaxPicture) return false;
        body.append(data, length);
        return true;
    });
    if (!response || response->status != 200) {
        store_.apply(ip, ScreenshotFailed{"cannot download " + address});
        return;
    }
    auto picture = std::make_shared<const std::string>(std::move(body));
    store_.apply(ip, ScreenshotStored{picture, make_thumbnail(*picture)});
}

}  // namespace osconsole
