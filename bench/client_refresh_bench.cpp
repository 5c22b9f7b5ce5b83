// The client library alone past a host's 99 cameras: the requests of a
// refresh to up to 254 simulated cameras in their own process, with no
// handler and no pacing; time and this process's peak memory.
#include <sys/resource.h>

#include <cstdio>
#include <string>

#include "client_driver.h"
#include "comparison.h"
#include "fleet_commands.h"
#include "fleet_helpers.h"
#include "fleet_host.h"
#include "process_stats.h"
#include "sim_process.h"

namespace bench {

namespace {

// One socket per camera here, and the simulator inherits the limit.
void raise_open_files() {
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < files.rlim_max) {
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }
}

}  // namespace

int cmd_client_refresh(int runs, int cameras, int latency_ms) {
    raise_open_files();
    const SimProcess sim(cameras, latency_ms);
    ClientDriver driver(g_client_dir);
    const double loaded_mib = status_kib("VmRSS:") / 1024.0;
    driver.refresh(sim.port(), cameras, 1);  // connections open, as in the handler's runs
    const std::string bench =
        "Client alone, " + std::to_string(cameras) + " cameras, " + per_answer(latency_ms);
    const std::string n = std::to_string(cameras);
    const std::string work = std::to_string(ClientDriver::kRefreshRequests) + " requests each";
    Figure fleet{bench, n + " cameras, " + work + ": first request to last answer", "ms", 1};
    Figure single{bench, "1 camera, the same requests", "ms", 1};
    Figure ratio{bench, n + " cameras / 1 camera (per run)", "", 2};
    Figure peak{bench, "peak resident memory of the process (VmHWM)", "MiB", 1};
    Figure loaded{bench, "resident memory with the client loaded, before any request", "MiB", 1};
    for (int run = 0; run < runs; ++run) {
        const double many = driver.refresh(sim.port(), cameras, ClientDriver::kRefreshRequests);
        const double one = driver.refresh(sim.port(), 1, ClientDriver::kRefreshRequests);
        fleet.values.push_back(many * 1000);
        single.values.push_back(one * 1000);
        ratio.values.push_back(many / one);
        peak.values.push_back(status_kib("VmHWM:") / 1024.0);
        loaded.values.push_back(loaded_mib);
        std::fprintf(stderr, "client run %d: %d cameras %.1f ms, 1 camera %.1f ms, peak %.1f MiB\n",
                     run + 1, cameras, many * 1000, one * 1000, peak.values.back());
    }
    for (const Figure* f : {&fleet, &single, &ratio, &peak, &loaded}) emit(*f);
    return 0;
}

}  // namespace bench
