// The process's own thread count, resident memory and heap in use, for soaks.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <string>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

// A "Name:  value kB" style line of /proc/self/status, or -1.
inline long proc_status_value(const std::string& name) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(name + ":", 0) == 0) return std::stol(line.substr(name.size() + 1));
    }
    return -1;
}

// What the program holds on the heap, in KiB: the sanitizer allocator's count
// when one replaces malloc (glibc's figures are then zero), else glibc's over
// every arena; -1 under LeakSanitizer alone, which keeps no count. Unlike RSS
// it leaves out freed memory the allocator keeps.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));
inline long heap_in_use_kib() {
    if (__sanitizer_get_current_allocated_bytes != nullptr) {
        const std::size_t bytes = __sanitizer_get_current_allocated_bytes();
        return bytes > 0 ? static_cast<long>(bytes / 1024) : -1;
    }
#if defined(__GLIBC__)
    const struct mallinfo2 heap = mallinfo2();
    return static_cast<long>((heap.uordblks + heap.hblkhd) / 1024);
#else
    return -1;
#endif
}

struct ProcessUsage {
    long threads = proc_status_value("Threads");
    long rss_kib = proc_status_value("VmRSS");
    // RSS less the shared libraries' pages, which fault in as code first runs.
    long anon_kib = proc_status_value("RssAnon");
    long heap_kib = heap_in_use_kib();
};

// Hands free heap pages back before a measurement, so that RSS counts what
// is held rather than what the allocator keeps cached from a busy moment.
inline void trim_allocator() {
#if defined(__GLIBC__)
    malloc_trim(0);
#endif
}

// How much RSS a soak may gain between its first measurement and its last:
// OSC_SOAK_MAX_GROWTH_KIB, else fallback.
inline long soak_growth_limit_kib(long fallback) {
    const char* text = std::getenv("OSC_SOAK_MAX_GROWTH_KIB");
    const long value = text != nullptr ? std::atol(text) : 0;
    return value > 0 ? value : fallback;
}
