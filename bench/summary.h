// Median, minimum and maximum of repeated runs, and the markdown rows every
// benchmark prints.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace bench {

struct Spread {
    double median = 0, min = 0, max = 0;
};

inline Spread spread(std::vector<double> values) {
    Spread s;
    if (values.empty()) return s;
    std::sort(values.begin(), values.end());
    const std::size_t n = values.size();
    s.median = n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
    s.min = values.front();
    s.max = values.back();
    return s;
}

inline std::string fixed(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

// One figure: its value per run, the limit it is held against per run (same
// run), and whether the goal holds for the median ratio.
struct Figure {
    Figure(std::string benchmark_, std::string name_, std::string unit_, int decimals_)
        : benchmark(std::move(benchmark_)),
          name(std::move(name_)),
          unit(std::move(unit_)),
          decimals(decimals_) {}

    std::string benchmark;
    std::string name;
    std::string unit;
    int decimals = 1;
    std::vector<double> values;
    std::vector<double> limits;  // empty: no limit for this figure
    std::string limit_name;
    // The limit is a reference to compare with: show value - limit, not a ratio.
    bool difference = false;
    std::string goal;  // as text, e.g. "ratio <= 1.15"
    // The goal test applied to the median value and the median ratio.
    bool (*met)(double median_value, double median_ratio) = nullptr;
};

inline void print_header() {
    std::printf(
        "| Benchmark | Figure | Median | Min | Max | Limit (same run, median) | "
        "Ratio to limit: median (min-max) | Goal | Met |\n"
        "|---|---|---|---|---|---|---|---|---|\n");
}

inline void print_row(const Figure& f) {
    const Spread v = spread(f.values);
    std::string limit = "-";
    std::string ratio = "-";
    double median_ratio = 0;
    if (!f.limits.empty() && f.limits.size() == f.values.size()) {
        std::vector<double> ratios;
        for (std::size_t i = 0; i < f.values.size(); ++i) {
            ratios.push_back(f.limits[i] != 0 ? f.values[i] / f.limits[i] : 0);
        }
        const Spread r = spread(ratios);
        const Spread l = spread(f.limits);
        median_ratio = r.median;
        limit = fixed(l.median, f.decimals) + " " + f.unit + " (" + f.limit_name + ")";
        ratio = fixed(r.median, 3) + " (" + fixed(r.min, 3) + "-" + fixed(r.max, 3) + ")";
        if (f.difference) {
            std::vector<double> deltas;
            for (std::size_t i = 0; i < f.values.size(); ++i) {
                deltas.push_back(f.values[i] - f.limits[i]);
            }
            const Spread d = spread(deltas);
            ratio = "difference " + fixed(d.median, f.decimals) + " " + f.unit + " (" +
                    fixed(d.min, f.decimals) + "-" + fixed(d.max, f.decimals) + ")";
        }
    }
    const char* met = "-";
    if (f.met != nullptr) met = f.met(v.median, median_ratio) ? "yes" : "**no**";
    std::printf("| %s | %s | %s %s | %s | %s | %s | %s | %s | %s |\n", f.benchmark.c_str(),
                f.name.c_str(), fixed(v.median, f.decimals).c_str(), f.unit.c_str(),
                fixed(v.min, f.decimals).c_str(), fixed(v.max, f.decimals).c_str(), limit.c_str(),
                ratio.c_str(), f.goal.empty() ? "-" : f.goal.c_str(), met);
    std::fflush(stdout);
}

}  // namespace bench
