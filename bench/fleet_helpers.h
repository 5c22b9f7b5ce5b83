// Small helpers shared by the fleet benchmarks: clock, pacing, camera
// addresses, percentiles and the goals the figures are held to.
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

// The worker's pass (workers/timings.h). The benchmarks never change it: it
// is the limit they are measured against.
constexpr std::chrono::milliseconds kPass{100};
constexpr double kCommandsPerSecondPerCamera = 1000.0 / kPass.count();

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

inline double percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const std::size_t rank = static_cast<std::size_t>(std::ceil(p * values.size()));
    return values[std::min(values.size() - 1, rank == 0 ? 0 : rank - 1)];
}

// Goals, as Figure::met: (median value, median ratio to the limit).
inline bool at_most_115(double, double ratio) {
    return ratio <= 1.15;
}
inline bool at_least_090(double, double ratio) {
    return ratio >= 0.9;
}
inline bool below_1000us(double value, double) {
    return value < 1000.0;
}
inline bool below_2pct(double value, double) {
    return value < 2.0;
}
inline bool below_40mib(double value, double) {
    return value < 40.0;
}

}  // namespace bench
