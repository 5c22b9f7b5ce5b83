// Small helpers shared by the fleet benchmarks: clock, camera addresses and
// percentiles.
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double seconds_between(Clock::time_point a, Clock::time_point b) {
    return std::chrono::duration<double>(b - a).count();
}

inline long long now_ns() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
        .count();
}

inline std::string camera_ip(int index) {
    return "127.0.0." + std::to_string(index + 1);
}

// How the figures name the simulator's answer delay.
inline std::string per_answer(int latency_ms) {
    return std::to_string(latency_ms) + " ms per answer";
}

inline double percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const std::size_t rank = static_cast<std::size_t>(std::ceil(p * values.size()));
    return values[std::min(values.size() - 1, rank == 0 ? 0 : rank - 1)];
}

}  // namespace bench
