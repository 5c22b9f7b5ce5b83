// One event thread that drives every camera's HTTP exchange at once
// (libcurl's multi interface, driven socket by socket): a camera waiting for
// its answer holds no thread, and an answer costs work for its own exchange
// only, however many others are in flight. Tasks posted from other threads
// run on it in the order they were posted; answers are handed over on it.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "client/client_options.h"
#include "client/transfer.h"

namespace oscclient {

class TransferLoop {
public:
    using Task = std::function<void()>;
    using Done = std::function<void(HttpResult)>;

    explicit TransferLoop(const ClientOptions& options);
    // Shuts down (see shutdown).
    ~TransferLoop();
    TransferLoop(const TransferLoop&) = delete;
    TransferLoop& operator=(const TransferLoop&) = delete;

    // Any thread: runs `task` on the loop thread. Dropped once shutting down.
    void post(Task task);
    // Loop thread only: starts an exchange; `done` runs on the loop thread
    // when it ends. While shutting down `done` runs at once with a failure.
    void start(HttpCall call, Done done);
    // Whether there are credentials to answer a camera's challenge with.
    bool has_credentials() const { return !options_.user.empty(); }
    // True from the moment shutdown begins.
    bool stopping() const { return stopping_; }
    // Any thread but the loop's: drops posted tasks, ends every exchange in
    // flight with a failure (its `done` runs) and joins the thread. Once it
    // returns nothing runs on the loop any more.
    void shutdown();

private:
    struct Running {
        std::unique_ptr<Transfer> transfer;
        Done done;
    };

    void run();
    void wait_for_events();
    void run_posted_tasks();
    void finish_completed();
    void abort_all();
    void wake();

    static int on_socket(void* easy, int socket, int what, void* self, void* socket_data);
    static int on_timer(void* multi, long timeout_ms, void* self);

    const ClientOptions& options_;
    void* multi_;  // CURLM, void in libcurl's own header
    int wake_read_ = -1;
    int wake_write_ = -1;
    std::atomic<bool> wake_pending_{false};
    std::mutex inbox_mutex_;
    std::vector<Task> inbox_;
    std::atomic<bool> stopping_{false};
    // Loop thread only: the exchanges by easy handle, the sockets libcurl
    // wants watched (poll events by socket) and its timer.
    std::unordered_map<void*, Running> running_;
    std::unordered_map<int, short> sockets_;
    bool timer_set_ = false;
    std::chrono::steady_clock::time_point timer_due_;
    std::thread thread_;
};

}  // namespace oscclient
