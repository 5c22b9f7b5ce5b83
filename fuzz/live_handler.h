// One handler over the client-library double, made on the first input and kept
// for the whole run: Init per input would cost a client object and threads.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "IVeskOSCHandlerInst.h"
#include "support/client_double.h"
#include "support/handler_access.h"
#include "workers/timings.h"

namespace fuzz {

inline std::atomic<std::uint64_t> g_log_lines{0};

inline void count_log_line(const char*) {
    ++g_log_lines;
}

class LiveHandler {
public:
    static LiveHandler& instance() {
        static LiveHandler live;
        return live;
    }

    // At exit: the handler goes first, so that LeakSanitizer sees a clean
    // shutdown rather than live workers.
    ~LiveHandler() {
        Destroy();
        testing_hooks::reset_worker_timings();
    }
    LiveHandler(const LiveHandler&) = delete;
    LiveHandler& operator=(const LiveHandler&) = delete;

    DoubleState& client() { return *client_; }

    // The double keeps every call in its log; clear it now and then so that a
    // long run does not grow without bound.
    void after_input() {
        if (++inputs_ % 512 == 0) client_->clear();
    }

private:
    LiveHandler() {
        WorkerTimings timings;
        timings.pass = std::chrono::milliseconds(1);
        timings.gate = std::chrono::milliseconds(20);
        timings.reboot_pause = std::chrono::milliseconds(1);
        timings.ports_pause = std::chrono::milliseconds(1);
        timings.syslog_pause = std::chrono::milliseconds(1);
        timings.start_poll = std::chrono::milliseconds(1);
        testing_hooks::set_worker_timings(timings);
        Init(ClientDouble::directory().c_str());
        SetLogCallback(&count_log_line);
    }

    ClientDouble client_;
    std::size_t inputs_ = 0;
};

}  // namespace fuzz
