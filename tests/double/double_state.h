// State of the client-library double (libVesk_OSC.dylib), shared with the tests:
// both reach the one instance inside the library the handler opened, through
// its function vd_state.
//
// Every client operation appends one line "Name(ip, arg, ...)" to the log:
// arguments in interface order, bools as true/false, a null string as "(null)".
// SetROI writes its layout as "3840x1920 -> 1920x1080, n" followed by
// ", srcX srcY srcW srcH>dstX dstY dstW dstH pN" per region. Answers, discovery
// results and responder calls are delivered in order on the newest client
// object's own thread, never inside an operation call.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

struct Delivery {
    enum class Kind { response, discovery, responder } kind;
    std::string text, ip;  // for the responder: the logged line and its camera
    int status = 0;
    std::vector<std::string> entries;
};

// A client object's delivery queue; enqueue runs under the state's lock.
class DeliveryQueue {
public:
    virtual void enqueue(Delivery delivery) = 0;

protected:
    ~DeliveryQueue() = default;
};

// One lock and one signal for everything: the double is not what is measured.
struct DoubleState {
    using Responder = std::function<void(const std::string& line, const std::string& ip)>;
    using Timeout = std::chrono::milliseconds;

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> log;
    std::vector<DeliveryQueue*> clients;  // live client objects, newest last
    Responder responder;                  // runs on the delivery thread after each call
    int responders_running = 0;
    int outstanding = 0;        // deliveries queued or being handed over
    bool fail_factory = false;  // CreateVeskOscObject refuses while set

    std::vector<std::string> calls() {
        std::lock_guard<std::mutex> lock(mutex);
        return log;
    }
    void clear() {
        std::lock_guard<std::mutex> lock(mutex);
        log.clear();
    }
    bool wait_for_call(const std::string& prefix, Timeout timeout = Timeout(10000)) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, timeout, [&] {
            return std::any_of(log.begin(), log.end(),
                               [&](const std::string& line) { return line.rfind(prefix, 0) == 0; });
        });
    }
    // True once every queued delivery has returned.
    bool wait_idle(Timeout timeout = Timeout(10000)) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, timeout, [&] { return outstanding == 0; });
    }
    int objects_alive() {
        std::lock_guard<std::mutex> lock(mutex);
        return static_cast<int>(clients.size());
    }
    void respond(const std::string& text, const std::string& ip, int status = 0) {
        deliver({Delivery::Kind::response, text, ip, status, {}});
    }
    void discover(const std::vector<std::string>& entries) {
        deliver({Delivery::Kind::discovery, "", "", 0, entries});
    }
    // Returns once no call of the previous responder runs: never call it from one.
    void on_call(Responder next) {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return responders_running == 0; });
        responder = std::move(next);
    }
    void set_fail_factory(bool fail) {
        std::lock_guard<std::mutex> lock(mutex);
        fail_factory = fail;
    }
    void reset() {
        on_call(nullptr);
        std::lock_guard<std::mutex> lock(mutex);
        log.clear();
        fail_factory = false;
    }

private:
    void deliver(Delivery delivery) {
        std::lock_guard<std::mutex> lock(mutex);
        if (!clients.empty()) clients.back()->enqueue(std::move(delivery));
    }
};
