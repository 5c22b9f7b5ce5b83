// This process's CPU time and memory, as the kernel counts them.
#pragma once

#include <sys/resource.h>

#include <cstring>
#include <fstream>
#include <string>

namespace bench {

// A "VmRSS:" or "VmHWM:" line of /proc/self/status, in KiB.
inline long status_kib(const char* field) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(field, 0) == 0) return std::stol(line.substr(std::strlen(field)));
    }
    return 0;
}

inline double cpu_seconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

}  // namespace bench
