// Firmware update progress: a redrawn bar on a terminal, plain lines otherwise.
#pragma once

#include <chrono>
#include <string>

namespace oscctl {

class ProgressBar {
public:
    explicit ProgressBar(bool terminal);
    void update(int percent, const std::string& stage);
    // Ends the bar's line on a terminal.
    void finish();

    // One rendering, for the terminal (no newline) or a log line.
    static std::string render(int percent, const std::string& stage, double elapsed_seconds,
                              bool terminal);

private:
    bool terminal_;
    bool drawn_ = false;
    int last_percent_ = -1;
    std::string last_stage_;
    std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
};

}  // namespace oscctl
