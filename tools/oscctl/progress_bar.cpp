#include "tools/oscctl/progress_bar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>

namespace oscctl {

namespace {

constexpr int kBarWidth = 30;
// "[" bar "] " "100% " "9999.9s "
constexpr int kFixedWidth = kBarWidth + 2 + 1 + 5 + 8;

int terminal_columns() {
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return 80;
}

}  // namespace

ProgressBar::ProgressBar(bool shown) : shown_(shown && ::isatty(STDERR_FILENO) != 0) {}

std::string ProgressBar::render(int percent, const std::string& stage, double elapsed_seconds,
                                int columns) {
    percent = std::clamp(percent, 0, 100);
    const int filled = percent * kBarWidth / 100;
    // The last column stays free: writing it wraps some terminals.
    const auto stage_width = static_cast<std::size_t>(std::max(0, columns - 1 - kFixedWidth));
    return fmt::format("\r[{}{}] {:3d}% {:6.1f}s {:<{}}", std::string(filled, '#'),
                       std::string(kBarWidth - filled, '.'), percent, elapsed_seconds,
                       stage.substr(0, stage_width), stage_width);
}

void ProgressBar::update(int percent, const std::string& stage) {
    if (!shown_) return;
    const double elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
    std::fputs(render(percent, stage, elapsed, terminal_columns()).c_str(), stderr);
    std::fflush(stderr);
    drawn_ = true;
}

void ProgressBar::finish() {
    if (drawn_) std::fputs("\n", stderr);
    drawn_ = false;
}

}  // namespace oscctl
