// A long soak's memory samples and their trend: the least-squares slope over
// the samples after warm-up (the first quarter of the run), in KiB per hour.
// One sample's noise moves a slope over dozens of samples little, where the
// difference of two samples would carry it whole.
#pragma once

#include <cstdio>
#include <vector>

namespace bench {

struct SoakSample {
    double seconds = 0;  // since the start of the run
    long operations = 0;
    long rss_kib = 0;
    long anon_kib = 0;  // RSS without file-backed pages (the libraries' code)
    long heap_kib = 0;  // in use by the program, allocator caches left out
    long threads = 0;
};

struct SoakSlopes {
    double rss_kib_per_hour = 0;
    double anon_kib_per_hour = 0;
    double heap_kib_per_hour = 0;
    int samples = 0;  // after warm-up
};

inline double slope_per_hour(const std::vector<SoakSample>& samples, long SoakSample::*field,
                             double from_seconds) {
    double n = 0, sx = 0, sy = 0, sxx = 0, sxy = 0;
    for (const SoakSample& s : samples) {
        if (s.seconds < from_seconds) continue;
        const double x = s.seconds / 3600, y = static_cast<double>(s.*field);
        n += 1, sx += x, sy += y, sxx += x * x, sxy += x * y;
    }
    const double spread = n * sxx - sx * sx;
    return n < 2 || spread <= 0 ? 0 : (n * sxy - sx * sy) / spread;
}

inline SoakSlopes slopes_after_warm_up(const std::vector<SoakSample>& samples) {
    if (samples.empty()) return {};
    const double from = samples.back().seconds / 4;
    SoakSlopes slopes{slope_per_hour(samples, &SoakSample::rss_kib, from),
                      slope_per_hour(samples, &SoakSample::anon_kib, from),
                      slope_per_hour(samples, &SoakSample::heap_kib, from), 0};
    for (const SoakSample& s : samples) slopes.samples += s.seconds >= from ? 1 : 0;
    return slopes;
}

inline void print_sample(FILE* out, const SoakSample& s) {
    std::fprintf(out,
                 "sample %.0f s: %ld operations, RSS %ld KiB (anonymous %ld), heap in use %ld "
                 "KiB, %ld threads\n",
                 s.seconds, s.operations, s.rss_kib, s.anon_kib, s.heap_kib, s.threads);
    std::fflush(out);
}

inline void print_samples_table(FILE* out, const std::vector<SoakSample>& samples,
                                const SoakSlopes& slopes) {
    std::fprintf(out,
                 "\n| minute | host operations | RSS (KiB) | anonymous RSS (KiB) | heap in use "
                 "(KiB) | threads |\n");
    std::fprintf(out, "|---|---|---|---|---|---|\n");
    for (const SoakSample& s : samples)
        std::fprintf(out, "| %.1f | %ld | %ld | %ld | %ld | %ld |\n", s.seconds / 60, s.operations,
                     s.rss_kib, s.anon_kib, s.heap_kib, s.threads);
    std::fprintf(out,
                 "\nslope over the last three quarters (%d samples): RSS %+.0f KiB/h, anonymous "
                 "RSS %+.0f KiB/h, heap in use %+.0f KiB/h\n",
                 slopes.samples, slopes.rss_kib_per_hour, slopes.anon_kib_per_hour,
                 slopes.heap_kib_per_hour);
}

}  // namespace bench
