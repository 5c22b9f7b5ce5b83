// One camera's HTTP connection, used by one I/O thread at a time. Each
// transfer gets a fresh libcurl easy handle; the connection lives on in a
// share object, so the camera's connection is still reused.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>

#include "client/client_options.h"

namespace oscclient {

struct HttpResult {
    bool transport_ok = false;  // false: refused, unreachable, timed out, cut off
    long status = 0;
    std::string body;
    std::string error;
};

struct Limits {
    std::chrono::milliseconds connect{1500};
    std::chrono::milliseconds total{4000};
    // Abort when fewer than stall_bytes per second move for stall_time.
    long stall_bytes = 0;
    std::chrono::seconds stall_time{0};
};

class HttpSession {
public:
    // `cancelled` aborts a transfer in progress as soon as it becomes true.
    HttpSession(const ClientOptions& options, const std::atomic<bool>& cancelled);
    ~HttpSession();
    HttpSession(const HttpSession&) = delete;
    HttpSession& operator=(const HttpSession&) = delete;

    HttpResult get(const std::string& url, const Limits& limits);
    HttpResult post_json(const std::string& url, const std::string& body, const Limits& limits);
    // multipart/form-data: the part "name" holds the command, the part "file"
    // the file at `path`, stored by the camera as `stored_name`.
    HttpResult post_file(const std::string& url, const std::string& command,
                         const std::string& path, const std::string& stored_name,
                         const Limits& limits);
    // Like post_json, but a successful answer is handed over line by line as
    // it arrives (without the line ends) instead of being collected.
    HttpResult post_json_lines(const std::string& url, const std::string& body,
                               const Limits& limits,
                               const std::function<void(const std::string&)>& on_line);

private:
    struct Transfer;
    void prepare(const std::string& url, const Limits& limits, Transfer& transfer);
    HttpResult perform(Transfer& transfer);

    static void lock_share(void*, int data, int, void* self);
    static void unlock_share(void*, int data, void* self);

    const ClientOptions& options_;
    const std::atomic<bool>& cancelled_;
    void* share_;  // CURLSH* holding the connection, kept out of this header
    // One per kind of shared data; the I/O thread serving the camera changes.
    std::array<std::mutex, 16> share_locks_;
};

}  // namespace oscclient
