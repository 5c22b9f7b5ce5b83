// One HTTP exchange with a camera: what to send, the limits it runs under,
// and what came back. The transfer loop runs it; this file only builds the
// libcurl handle and reads the outcome.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "client/client_options.h"

struct curl_slist;
struct curl_mime;

namespace oscclient {

struct Limits {
    std::chrono::milliseconds connect{1500};
    std::chrono::milliseconds total{4000};
    // Abort when fewer than stall_bytes per second move for stall_time.
    long stall_bytes = 0;
    std::chrono::seconds stall_time{0};
};

struct HttpCall {
    enum class Method { Get, PostJson, PostFile };
    Method method = Method::Get;
    std::string url;
    std::string body;         // PostJson: the JSON text; PostFile: the command ("name" part)
    std::string file_path;    // PostFile: the local file ("file" part)
    std::string stored_name;  // PostFile: its name on the camera
    Limits limits;
    // Answer a Digest challenge with the configured credentials. Only for
    // cameras known to ask: libcurl then sends a POST's first request
    // without its body, which a camera without authentication would take
    // for an empty command.
    bool authenticate = false;
    // Set: a 200 answer is handed over line by line as it arrives (without
    // the line ends) instead of being collected in the body.
    std::function<void(const std::string&)> on_line;
};

struct HttpResult {
    bool transport_ok = false;  // false: refused, unreachable, timed out, cut off
    long status = 0;
    std::string body;
    std::string cause;  // why the exchange failed, in words for a log line
};

// curl_global_init, once for the process (it is not thread-safe itself).
void init_curl_once();

// The libcurl side of one exchange. Each exchange gets a fresh easy handle:
// a reused one keeps header state from the last answer, and libcurl 7.88
// reads freed memory when the next answer starts with a folded header line.
// The connection itself outlives the handle in the multi handle's cache.
class Transfer {
public:
    Transfer(HttpCall call, const ClientOptions& options);
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    // The easy handle to add to a multi handle; null when the exchange could
    // not even be set up (see setup_failure).
    void* handle() const { return curl_; }
    const std::string& setup_failure() const { return setup_failure_; }

    // The outcome, once libcurl has finished with the handle (code is its
    // CURLcode).
    HttpResult finish(int code);

private:
    static std::size_t on_data(char* data, std::size_t size, std::size_t count, void* self);
    bool streaming() const;
    void emit_lines();

    HttpCall call_;
    void* curl_ = nullptr;  // CURL is void in libcurl's own header
    curl_slist* headers_ = nullptr;
    curl_mime* mime_ = nullptr;
    std::string body_;
    std::string pending_;  // partial line of a streamed answer
    std::string setup_failure_;
    char error_text_[256] = {};
};

}  // namespace oscclient
