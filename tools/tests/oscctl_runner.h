// Runs the oscctl program and collects what it printed.
#pragma once

#include <string>
#include <vector>

struct OscctlRun {
    int status = -1;
    std::string out;
    std::string err;
    double seconds = 0;
};

// Arguments are passed through the shell; keep them free of quotes.
OscctlRun run_oscctl(const std::vector<std::string>& args, const std::string& environment = "");
