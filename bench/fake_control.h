// Control functions of the benchmarks' minimal client library: the probe opens
// the same file the handler loaded and reaches the one client object through
// these.
#pragma once

extern "C" {
// Called on the caller's thread (a camera worker) at every operation, before
// the operation returns; `op` is the operation's name.
typedef void (*BenchCallHook)(const char* op, const char* ip);
void bench_fake_set_call_hook(BenchCallHook hook);
// Hands an answer to the handler as the client's I/O thread would.
void bench_fake_deliver(const char* text, const char* ip, int status);
}
