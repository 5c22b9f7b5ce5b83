#include "tools/console/memory_upkeep.h"

#include <cerrno>
#include <ctime>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace osconsole {

namespace {
#if defined(__GLIBC__)
// Past this size a block gets its own mapping, returned when freed; glibc
// would otherwise raise the threshold after the first picture is freed.
constexpr int kMappedBlockBytes = 128 * 1024;
constexpr int kArenas = 2;
#endif
constexpr std::time_t kReleaseEverySeconds = 60;
}  // namespace

void tune_allocator() {
#if defined(__GLIBC__)
    mallopt(M_MMAP_THRESHOLD, kMappedBlockBytes);
    mallopt(M_ARENA_MAX, kArenas);
#endif
}

void wait_releasing_memory(const sigset_t& signals) {
#if defined(__linux__)
    const timespec period{kReleaseEverySeconds, 0};
    while (sigtimedwait(&signals, nullptr, &period) < 0) {
#if defined(__GLIBC__)
        if (errno == EAGAIN) malloc_trim(0);
#endif
    }
#else
    int signal_number = 0;
    sigwait(&signals, &signal_number);
#endif
}

}  // namespace osconsole
