#include "tools/oscctl/progress_bar.h"

#include <algorithm>

#include <fmt/format.h>

#include "tools/oscctl/output.h"

namespace oscctl {

namespace {
constexpr int kBarWidth = 30;
}

ProgressBar::ProgressBar(bool terminal) : terminal_(terminal) {}

std::string ProgressBar::render(int percent, const std::string& stage, double elapsed_seconds,
                                bool terminal) {
    percent = std::clamp(percent, 0, 100);
    if (!terminal) return fmt::format("{:3d}% {:6.1f}s {}", percent, elapsed_seconds, stage);
    const int filled = percent * kBarWidth / 100;
    return fmt::format("\r[{}{}] {:3d}% {:6.1f}s {:<40.40}", std::string(filled, '#'),
                       std::string(kBarWidth - filled, '.'), percent, elapsed_seconds, stage);
}

void ProgressBar::update(int percent, const std::string& stage) {
    // Repeated reports would only add noise to a log.
    if (!terminal_ && percent == last_percent_ && stage == last_stage_) return;
    last_percent_ = percent;
    last_stage_ = stage;
    const double elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
    const std::string text = render(percent, stage, elapsed, terminal_);
    if (terminal_) {
        Output::instance().raw(text);
        drawn_ = true;
    } else {
        Output::instance().line(text);
    }
}

void ProgressBar::finish() {
    if (terminal_ && drawn_) Output::instance().raw("\n");
    drawn_ = false;
}

}  // namespace oscctl
