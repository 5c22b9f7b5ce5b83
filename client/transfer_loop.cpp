#include "client/transfer_loop.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace oscclient {

namespace {

using Clock = std::chrono::steady_clock;

// Idle connections kept open, one per camera; far more than a host's fleet.
// Left at libcurl's default, the cache shrinks with the number of exchanges
// in flight and closes connections that cameras would have reused.
constexpr long kKeptConnections = 1024;

// Longest sleep while nothing is due.
constexpr std::chrono::milliseconds kIdleWait{1000};

CURLM* multi(void* handle) {
    return static_cast<CURLM*>(handle);
}

HttpResult shutting_down() {
    HttpResult r;
    r.cause = "client shutting down";
    return r;
}

// An exception from the handler's side must not end the loop that every
// camera depends on.
template <typename F, typename... Args>
void call_guarded(F& f, Args&&... args) {
    try {
        f(std::forward<Args>(args)...);
    } catch (...) {
    }
}

void make_pipe(int& read_end, int& write_end) {
    int ends[2];
    if (pipe(ends) != 0) return;
    for (int fd : ends) {
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    read_end = ends[0];
    write_end = ends[1];
}

}  // namespace

TransferLoop::TransferLoop(const ClientOptions& options) : options_(options) {
    init_curl_once();
    make_pipe(wake_read_, wake_write_);
    multi_ = curl_multi_init();
    CURLM* m = multi(multi_);
    curl_multi_setopt(m, CURLMOPT_MAXCONNECTS, kKeptConnections);
    curl_multi_setopt(m, CURLMOPT_SOCKETFUNCTION, &TransferLoop::on_socket);
    curl_multi_setopt(m, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(m, CURLMOPT_TIMERFUNCTION, &TransferLoop::on_timer);
    curl_multi_setopt(m, CURLMOPT_TIMERDATA, this);
    thread_ = std::thread([this] { run(); });
}

TransferLoop::~TransferLoop() {
    shutdown();
    curl_multi_cleanup(multi(multi_));
    close(wake_read_);
    close(wake_write_);
}

int TransferLoop::on_socket(void*, int socket, int what, void* self, void*) {
    auto& sockets = static_cast<TransferLoop*>(self)->sockets_;
    if (what == CURL_POLL_REMOVE) {
        sockets.erase(socket);
    } else {
        sockets[socket] = static_cast<short>(((what & CURL_POLL_IN) ? POLLIN : 0) |
                                             ((what & CURL_POLL_OUT) ? POLLOUT : 0));
    }
    return 0;
}

int TransferLoop::on_timer(void*, long timeout_ms, void* self) {
    auto* loop = static_cast<TransferLoop*>(self);
    loop->timer_set_ = timeout_ms >= 0;
    if (loop->timer_set_) loop->timer_due_ = Clock::now() + std::chrono::milliseconds(timeout_ms);
    return 0;
}

void TransferLoop::wake() {
    // One byte in the pipe is enough, however many tasks wait behind it.
    if (!wake_pending_.exchange(true)) {
        const char byte = 1;
        (void)!write(wake_write_, &byte, 1);
    }
}

void TransferLoop::post(Task task) {
    {
        std::lock_guard<std::mutex> lock(inbox_mutex_);
        if (stopping_) return;
        inbox_.push_back(std::move(task));
    }
    wake();
}

void TransferLoop::start(HttpCall call, Done done) {
    if (stopping_) {
        call_guarded(done, shutting_down());
        return;
    }
    auto transfer = std::make_unique<Transfer>(std::move(call), options_);
    void* easy = transfer->handle();
    if (easy == nullptr || !transfer->setup_failure().empty()) {
        HttpResult r;
        r.cause = transfer->setup_failure();
        call_guarded(done, std::move(r));
        return;
    }
    if (curl_multi_add_handle(multi(multi_), easy) != CURLM_OK) {
        HttpResult r;
        r.cause = "cannot start the request";
        call_guarded(done, std::move(r));
        return;
    }
    running_.emplace(easy, Running{std::move(transfer), std::move(done)});
}

void TransferLoop::shutdown() {
    {
        std::lock_guard<std::mutex> lock(inbox_mutex_);
        stopping_ = true;
    }
    const char byte = 1;
    (void)!write(wake_write_, &byte, 1);
    if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
    std::vector<Task> dropped;
    std::lock_guard<std::mutex> lock(inbox_mutex_);
    dropped.swap(inbox_);
}

void TransferLoop::run_posted_tasks() {
    std::vector<Task> tasks;
    {
        std::lock_guard<std::mutex> lock(inbox_mutex_);
        tasks.swap(inbox_);
    }
    for (Task& task : tasks) {
        if (stopping_) break;
        call_guarded(task);
    }
}

void TransferLoop::wait_for_events() {
    std::vector<pollfd> watched;
    watched.reserve(sockets_.size() + 1);
    watched.push_back({wake_read_, POLLIN, 0});
    for (const auto& [socket, events] : sockets_) watched.push_back({socket, events, 0});
    auto wait = kIdleWait;
    if (timer_set_) {
        // Rounded up: waking a little early would only spin.
        const auto due = timer_due_ - Clock::now() + std::chrono::microseconds(999);
        wait = std::clamp(std::chrono::duration_cast<std::chrono::milliseconds>(due),
                          std::chrono::milliseconds(0), kIdleWait);
    }
    if (poll(watched.data(), watched.size(), static_cast<int>(wait.count())) < 0) return;

    if (watched[0].revents != 0) {
        char bytes[64];
        while (read(wake_read_, bytes, sizeof bytes) > 0) {
        }
        // Cleared before the inbox is read, so that a task posted after the
        // read always writes a new byte.
        wake_pending_ = false;
    }
    int in_flight = 0;
    for (std::size_t i = 1; i < watched.size(); ++i) {
        const short ready = watched[i].revents;
        if (ready == 0) continue;
        const int mask = ((ready & POLLIN) ? CURL_CSELECT_IN : 0) |
                         ((ready & POLLOUT) ? CURL_CSELECT_OUT : 0) |
                         ((ready & (POLLERR | POLLHUP | POLLNVAL)) ? CURL_CSELECT_ERR : 0);
        curl_multi_socket_action(multi(multi_), watched[i].fd, mask, &in_flight);
    }
    if (timer_set_ && Clock::now() >= timer_due_) {
        timer_set_ = false;
        curl_multi_socket_action(multi(multi_), CURL_SOCKET_TIMEOUT, 0, &in_flight);
    }
}

void TransferLoop::finish_completed() {
    // Collected first: a message does not survive removing its handle, and
    // completions start new exchanges.
    std::vector<std::pair<void*, CURLcode>> completed;
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(multi(multi_), &left)) {
        if (message->msg == CURLMSG_DONE)
            completed.emplace_back(message->easy_handle, message->data.result);
    }
    for (auto& [easy, code] : completed) {
        curl_multi_remove_handle(multi(multi_), easy);
        auto node = running_.extract(easy);
        if (node.empty()) continue;
        Running& running = node.mapped();
        HttpResult result = running.transfer->finish(code);
        running.transfer.reset();
        call_guarded(running.done, std::move(result));
    }
}

void TransferLoop::abort_all() {
    std::unordered_map<void*, Running> aborted;
    aborted.swap(running_);
    for (auto& [easy, running] : aborted) {
        curl_multi_remove_handle(multi(multi_), easy);
        running.transfer.reset();
        call_guarded(running.done, shutting_down());
    }
}

void TransferLoop::run() {
    while (!stopping_) {
        run_posted_tasks();
        if (stopping_) break;
        wait_for_events();
        finish_completed();
    }
    abort_all();
}

}  // namespace oscclient
