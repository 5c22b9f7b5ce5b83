#include "workers/timings.h"

#include <mutex>

namespace {
std::mutex g_timings_mutex;
WorkerTimings g_timings;
}  // namespace

WorkerTimings worker_timings() {
    std::lock_guard<std::mutex> lock(g_timings_mutex);
    return g_timings;
}

namespace testing_hooks {
void set_worker_timings(const WorkerTimings& timings) {
    std::lock_guard<std::mutex> lock(g_timings_mutex);
    g_timings = timings;
}

void reset_worker_timings() {
    set_worker_timings(WorkerTimings{});
}
}  // namespace testing_hooks
