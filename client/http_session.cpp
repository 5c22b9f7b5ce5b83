#include "client/http_session.h"

#include <curl/curl.h>

#include <mutex>

namespace oscclient {

namespace {

CURLSH* share(void* p) {
    return static_cast<CURLSH*>(p);
}

void global_init() {
    // curl_global_init is not thread-safe; run it once for the process.
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

}  // namespace

struct HttpSession::Transfer {
    CURL* curl = nullptr;
    const std::atomic<bool>* cancelled = nullptr;
    std::string body;
    std::string pending;  // partial line of a streamed answer
    const std::function<void(const std::string&)>* on_line = nullptr;
    curl_slist* headers = nullptr;
    curl_mime* mime = nullptr;

    ~Transfer() {
        curl_easy_cleanup(curl);
        curl_slist_free_all(headers);
        curl_mime_free(mime);
    }

    bool streaming() const {
        if (!on_line) return false;
        long status = 0;
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
        return status == 200;
    }

    void emit_lines() {
        std::size_t start = 0;
        for (std::size_t end; (end = pending.find('\n', start)) != std::string::npos;
             start = end + 1) {
            std::string line = pending.substr(start, end - start);
            if (!line.empty() && line.back() == '\r') line.pop_back();
            (*on_line)(line);
        }
        pending.erase(0, start);
    }

    static size_t on_data(char* data, size_t size, size_t count, void* self) {
        auto* t = static_cast<Transfer*>(self);
        const size_t n = size * count;
        if (t->streaming()) {
            t->pending.append(data, n);
            t->emit_lines();
        } else {
            t->body.append(data, n);
        }
        return n;
    }

    static int on_progress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
        return static_cast<Transfer*>(self)->cancelled->load() ? 1 : 0;
    }
};

HttpSession::HttpSession(const ClientOptions& options, const std::atomic<bool>& cancelled)
    : options_(options), cancelled_(cancelled) {
    global_init();
    share_ = curl_share_init();
    curl_share_setopt(share(share_), CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
    curl_share_setopt(share(share_), CURLSHOPT_LOCKFUNC, &HttpSession::lock_share);
    curl_share_setopt(share(share_), CURLSHOPT_UNLOCKFUNC, &HttpSession::unlock_share);
    curl_share_setopt(share(share_), CURLSHOPT_USERDATA, this);
}

HttpSession::~HttpSession() {
    curl_share_cleanup(share(share_));
}

void HttpSession::lock_share(void*, int data, int, void* self) {
    auto& locks = static_cast<HttpSession*>(self)->share_locks_;
    locks[static_cast<std::size_t>(data) % locks.size()].lock();
}

void HttpSession::unlock_share(void*, int data, void* self) {
    auto& locks = static_cast<HttpSession*>(self)->share_locks_;
    locks[static_cast<std::size_t>(data) % locks.size()].unlock();
}

void HttpSession::prepare(const std::string& url, const Limits& limits, Transfer& t) {
    // A fresh handle per transfer: a reused one keeps header state from the
    // last answer, and libcurl 7.88 reads freed memory when the next answer
    // starts with a folded header line.
    CURL* c = curl_easy_init();
    curl_easy_setopt(c, CURLOPT_SHARE, share(share_));
    t.curl = c;
    t.cancelled = &cancelled_;
    curl_easy_setopt(c, CURLOPT_URL, url.c_str());
    curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(c, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits.connect.count()));
    curl_easy_setopt(c, CURLOPT_TIMEOUT_MS, static_cast<long>(limits.total.count()));
    if (limits.stall_time.count() > 0) {
        curl_easy_setopt(c, CURLOPT_LOW_SPEED_LIMIT, limits.stall_bytes);
        curl_easy_setopt(c, CURLOPT_LOW_SPEED_TIME, static_cast<long>(limits.stall_time.count()));
    }
    curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, &Transfer::on_data);
    curl_easy_setopt(c, CURLOPT_WRITEDATA, &t);
    curl_easy_setopt(c, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(c, CURLOPT_XFERINFOFUNCTION, &Transfer::on_progress);
    curl_easy_setopt(c, CURLOPT_XFERINFODATA, &t);
    curl_easy_setopt(c, CURLOPT_PROTOCOLS_STR, "http");
    if (!options_.user.empty()) {
        curl_easy_setopt(c, CURLOPT_USERNAME, options_.user.c_str());
        curl_easy_setopt(c, CURLOPT_PASSWORD, options_.password.c_str());
        curl_easy_setopt(c, CURLOPT_HTTPAUTH, CURLAUTH_DIGEST);
    }
    // No "Expect: 100-continue" round trip before larger bodies.
    t.headers = curl_slist_append(t.headers, "Expect:");
    t.headers = curl_slist_append(t.headers, "Accept: application/json");
    t.headers = curl_slist_append(t.headers, "X-XSRF-Protected: 1");
}

HttpResult HttpSession::perform(Transfer& t) {
    curl_easy_setopt(t.curl, CURLOPT_HTTPHEADER, t.headers);
    HttpResult r;
    const CURLcode code = curl_easy_perform(t.curl);
    curl_easy_getinfo(t.curl, CURLINFO_RESPONSE_CODE, &r.status);
    if (t.on_line && !t.pending.empty() && code == CURLE_OK && t.streaming()) {
        (*t.on_line)(t.pending);
        t.pending.clear();
    }
    r.transport_ok = code == CURLE_OK;
    r.error = curl_easy_strerror(code);
    r.body = std::move(t.body);
    return r;
}

HttpResult HttpSession::get(const std::string& url, const Limits& limits) {
    Transfer t;
    prepare(url, limits, t);
    curl_easy_setopt(t.curl, CURLOPT_HTTPGET, 1L);
    return perform(t);
}

HttpResult HttpSession::post_json(const std::string& url, const std::string& body,
                                  const Limits& limits) {
    Transfer t;
    prepare(url, limits, t);
    t.headers = curl_slist_append(t.headers, "Content-Type: application/json;charset=utf-8");
    curl_easy_setopt(t.curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(t.curl, CURLOPT_COPYPOSTFIELDS, body.c_str());
    return perform(t);
}

HttpResult HttpSession::post_file(const std::string& url, const std::string& command,
                                  const std::string& path, const std::string& stored_name,
                                  const Limits& limits) {
    Transfer t;
    prepare(url, limits, t);
    t.mime = curl_mime_init(t.curl);
    curl_mimepart* part = curl_mime_addpart(t.mime);
    curl_mime_name(part, "name");
    curl_mime_data(part, command.c_str(), CURL_ZERO_TERMINATED);
    part = curl_mime_addpart(t.mime);
    curl_mime_name(part, "file");
    if (curl_mime_filedata(part, path.c_str()) != CURLE_OK) {
        HttpResult r;
        r.error = "cannot read " + path;
        return r;
    }
    curl_mime_filename(part, stored_name.c_str());
    curl_mime_type(part, "application/octet-stream");
    curl_easy_setopt(t.curl, CURLOPT_MIMEPOST, t.mime);
    return perform(t);
}

HttpResult HttpSession::post_json_lines(const std::string& url, const std::string& body,
                                        const Limits& limits,
                                        const std::function<void(const std::string&)>& on_line) {
    Transfer t;
    t.on_line = &on_line;
    prepare(url, limits, t);
    t.headers = curl_slist_append(t.headers, "Content-Type: application/json;charset=utf-8");
    curl_easy_setopt(t.curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(t.curl, CURLOPT_COPYPOSTFIELDS, body.c_str());
    return perform(t);
}

}  // namespace oscclient
