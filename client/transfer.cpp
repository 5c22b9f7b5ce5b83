#include "client/transfer.h"

#include <curl/curl.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace oscclient {

namespace {

std::string milliseconds(std::chrono::milliseconds limit) {
    return std::to_string(limit.count()) + " ms";
}

// The words a user needs to tell a dead camera from a slow or broken one.
std::string describe_failure(CURLcode code, CURL* curl, const Limits& limits,
                             const char* error_text) {
    switch (code) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return "host not found";
        case CURLE_COULDNT_CONNECT: {
            long os_errno = 0;
            curl_easy_getinfo(curl, CURLINFO_OS_ERRNO, &os_errno);
            if (os_errno == ECONNREFUSED) return "connection refused";
            if (os_errno == EHOSTUNREACH || os_errno == ENETUNREACH) return "host unreachable";
            return "cannot connect";
        }
        case CURLE_OPERATION_TIMEDOUT: {
            curl_off_t connected_after = 0;
            curl_easy_getinfo(curl, CURLINFO_CONNECT_TIME_T, &connected_after);
            if (connected_after == 0) return "no connection within " + milliseconds(limits.connect);
            if (std::strstr(error_text, "too slow") != nullptr)
                return "stalled for " + std::to_string(limits.stall_time.count()) + " s";
            return "timed out after " + milliseconds(limits.total);
        }
        case CURLE_GOT_NOTHING:
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
            return "connection closed without an answer";
        case CURLE_PARTIAL_FILE:
            return "connection closed in the middle of the answer";
        default:
            return *error_text != '\0' ? error_text : curl_easy_strerror(code);
    }
}

}  // namespace

void init_curl_once() {
    static const bool done = [] { return curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; }();
    (void)done;
}

Transfer::Transfer(HttpCall call, const ClientOptions& options) : call_(std::move(call)) {
    init_curl_once();
    CURL* c = curl_easy_init();
    if (c == nullptr) {
        setup_failure_ = "out of memory";
        return;
    }
    curl_ = c;
    const Limits& limits = call_.limits;
    curl_easy_setopt(c, CURLOPT_PRIVATE, this);
    curl_easy_setopt(c, CURLOPT_URL, call_.url.c_str());
    curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(c, CURLOPT_TCP_NODELAY, 1L);
    curl_easy_setopt(c, CURLOPT_ERRORBUFFER, error_text_);
    curl_easy_setopt(c, CURLOPT_PROTOCOLS_STR, "http");
    curl_easy_setopt(c, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits.connect.count()));
    curl_easy_setopt(c, CURLOPT_TIMEOUT_MS, static_cast<long>(limits.total.count()));
    if (limits.stall_time.count() > 0) {
        curl_easy_setopt(c, CURLOPT_LOW_SPEED_LIMIT, limits.stall_bytes);
        curl_easy_setopt(c, CURLOPT_LOW_SPEED_TIME, static_cast<long>(limits.stall_time.count()));
    }
    curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, &Transfer::on_data);
    curl_easy_setopt(c, CURLOPT_WRITEDATA, this);
    if (call_.authenticate && !options.user.empty()) {
        curl_easy_setopt(c, CURLOPT_USERNAME, options.user.c_str());
        curl_easy_setopt(c, CURLOPT_PASSWORD, options.password.c_str());
        curl_easy_setopt(c, CURLOPT_HTTPAUTH, CURLAUTH_DIGEST);
    }
    // No "Expect: 100-continue" round trip before larger bodies.
    headers_ = curl_slist_append(headers_, "Expect:");
    headers_ = curl_slist_append(headers_, "Accept: application/json");
    headers_ = curl_slist_append(headers_, "X-XSRF-Protected: 1");

    switch (call_.method) {
        case HttpCall::Method::Get:
            curl_easy_setopt(c, CURLOPT_HTTPGET, 1L);
            break;
        case HttpCall::Method::PostJson:
            headers_ = curl_slist_append(headers_, "Content-Type: application/json;charset=utf-8");
            curl_easy_setopt(c, CURLOPT_POSTFIELDSIZE, static_cast<long>(call_.body.size()));
            curl_easy_setopt(c, CURLOPT_POSTFIELDS, call_.body.c_str());
            break;
        case HttpCall::Method::PostFile: {
            mime_ = curl_mime_init(c);
            curl_mimepart* part = curl_mime_addpart(mime_);
            curl_mime_name(part, "name");
            curl_mime_data(part, call_.body.c_str(), CURL_ZERO_TERMINATED);
            part = curl_mime_addpart(mime_);
            curl_mime_name(part, "file");
            if (curl_mime_filedata(part, call_.file_path.c_str()) != CURLE_OK) {
                setup_failure_ = "cannot read " + call_.file_path;
                return;
            }
            curl_mime_filename(part, call_.stored_name.c_str());
            curl_mime_type(part, "application/octet-stream");
            curl_easy_setopt(c, CURLOPT_MIMEPOST, mime_);
            break;
        }
    }
    curl_easy_setopt(c, CURLOPT_HTTPHEADER, headers_);
}

Transfer::~Transfer() {
    curl_easy_cleanup(curl_);
    curl_slist_free_all(headers_);
    curl_mime_free(mime_);
}

bool Transfer::streaming() const {
    if (!call_.on_line) return false;
    long status = 0;
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &status);
    return status == 200;
}

void Transfer::emit_lines() {
    std::size_t start = 0;
    for (std::size_t end; (end = pending_.find('\n', start)) != std::string::npos;
         start = end + 1) {
        std::string line = pending_.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        call_.on_line(line);
    }
    pending_.erase(0, start);
}

std::size_t Transfer::on_data(char* data, std::size_t size, std::size_t count, void* self) {
    auto* t = static_cast<Transfer*>(self);
    const std::size_t n = size * count;
    if (t->streaming()) {
        t->pending_.append(data, n);
        t->emit_lines();
    } else {
        t->body_.append(data, n);
    }
    return n;
}

HttpResult Transfer::finish(int code) {
    const auto curl_code = static_cast<CURLcode>(code);
    HttpResult r;
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &r.status);
    if (curl_code == CURLE_OK && !pending_.empty() && streaming()) {
        call_.on_line(pending_);
        pending_.clear();
    }
    r.transport_ok = curl_code == CURLE_OK;
    if (!r.transport_ok) r.cause = describe_failure(curl_code, curl_, call_.limits, error_text_);
    r.body = std::move(body_);
    return r;
}

}  // namespace oscclient
