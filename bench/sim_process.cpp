#include "sim_process.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace bench {

SimProcess::SimProcess(int cameras, int latency_ms, int cpu, std::vector<std::string> flags) {
    std::vector<std::string> args;
    if (cpu >= 0) args = {"taskset", "-c", std::to_string(cpu)};
    for (const std::string& a : {std::string(OSC_SIM_EXE), std::string("--port"), std::string("0"),
                                 std::string("--cameras"), std::to_string(cameras),
                                 std::string("--latency-ms"), std::to_string(latency_ms)}) {
        args.push_back(a);
    }
    args.insert(args.end(), flags.begin(), flags.end());
    process_ = std::make_unique<ChildProcess>(args);
    // One line per camera once every camera listens: "camera 127.0.0.7:40123".
    std::string line;
    for (int i = 0; i < cameras; ++i) {
        const bool read = process_->read_line(line);
        const auto colon = line.rfind(':');
        if (!read || line.rfind("camera ", 0) != 0 || colon == std::string::npos) {
            std::fprintf(stderr, "the simulator did not start %d cameras: %s\n", cameras,
                         line.c_str());
            process_.reset();  // stops it
            std::exit(1);
        }
        port_ = std::stoi(line.substr(colon + 1));
    }
}

}  // namespace bench
