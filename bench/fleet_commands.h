// The fleet_bench commands, one per benchmark; each prints its markdown rows
// and returns the process exit code.
#pragma once

namespace bench {

// refresh_bench.cpp
int cmd_refresh(int runs, int cameras, int latency_ms, bool serial);

// setter_bench.cpp
int cmd_throughput(int runs, int cameras, int per_camera);
int cmd_latency(int runs, int cameras, int answers);
int cmd_serial_setters(int runs, int cameras, int per_camera);

// idle_bench.cpp
int cmd_idle(int runs, int cameras, int seconds);
int cmd_idle_host(int cameras, int port, int seconds);

}  // namespace bench
