// Firmware update progress: a bar redrawn on the terminal's stderr; nothing
// when stderr is not a terminal (logs and pipes get the final result only).
#pragma once

#include <chrono>
#include <string>

namespace oscctl {

class ProgressBar {
public:
    // `shown` false draws nothing (JSON mode, several cameras at once).
    explicit ProgressBar(bool shown);
    void update(int percent, const std::string& stage);
    // Ends the bar's line.
    void finish();

    // One rendering, starting with a carriage return, `columns` wide at most.
    static std::string render(int percent, const std::string& stage, double elapsed_seconds,
                              int columns);

private:
    bool shown_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
};

}  // namespace oscctl
