// The fleet_bench commands, one per benchmark; each writes its figures as
// result lines (comparison.h) and returns the process exit code.
#pragma once

namespace bench {

// refresh_bench.cpp
int cmd_refresh(int runs, int cameras, int latency_ms, bool serial);

// setter_bench.cpp
int cmd_throughput(int runs, int cameras, int per_camera, int latency_ms, int cap_s);
int cmd_latency(int runs, int cameras, int answers, int sim_cpu);
int cmd_serial_setters(int runs, int cameras, int per_camera);

// client_refresh_bench.cpp
int cmd_client_refresh(int runs, int cameras, int latency_ms);

// idle_bench.cpp
int cmd_idle(int runs, int cameras, int seconds);
int cmd_idle_host(int cameras, int port, int seconds);

// shutdown_bench.cpp
int cmd_shutdown(int runs);

}  // namespace bench
