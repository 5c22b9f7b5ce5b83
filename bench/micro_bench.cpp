// In-process timings of the handler's own work per answer, over the
// benchmarks' minimal client library (no threads, no I/O), beside the cost
// of parsing the same text with nlohmann/json alone.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <nlohmann/json.hpp>

#include "IVeskOSCHandlerInst.h"
#include "answer_capture.h"
#include "fake_control.h"

namespace {

std::string g_options_reply;
std::string g_setter_answer;
decltype(&bench_fake_deliver) g_deliver = nullptr;
std::atomic<long> g_documents{0};
std::atomic<long> g_results{0};

void count_document(const char*, const char*) {
    ++g_documents;
}
void count_result(const char*, const char*, bool, const char*) {
    ++g_results;
}
void drop_log(const char*) {}

// Records the real answers, then loads the handler over the minimal client
// library; once, before the first benchmark.
bool set_up() {
    try {
        const nlohmann::json answers = bench::capture_answers(OSC_CLIENT_DIR);
        for (const auto& a : answers["refresh"]) {
            if (a["command"] == "GetOptionsAll") g_options_reply = a["answer"];
        }
        g_setter_answer = answers["setter"]["answer"];
    } catch (const std::exception& e) {
        std::fprintf(stderr, "micro_bench: %s\n", e.what());
        return false;
    }
    Init(OSC_FAKE_CLIENT_DIR);
    SetDataCallback(nullptr, count_document, count_result, nullptr);
    SetLogCallback(drop_log);
    void* fake = dlopen(OSC_FAKE_CLIENT_DIR "/libVesk_OSC.dylib", RTLD_NOW | RTLD_NOLOAD);
    if (fake == nullptr) return false;
    g_deliver = reinterpret_cast<decltype(&bench_fake_deliver)>(dlsym(fake, "bench_fake_deliver"));
    // The camera must be known, with a worker, for its answers to be read.
    SetBrightness("127.0.0.1", 80, 1);
    std::atexit([] { Destroy(); });
    return g_deliver != nullptr;
}

bool ready(benchmark::State& state) {
    static const bool ok = set_up();
    if (!ok) state.SkipWithError("set-up failed");
    return ok;
}

void BM_ParseOptionsReplyFloor(benchmark::State& state) {
    if (!ready(state)) return;
    for (auto _ : state) {
        nlohmann::json doc = nlohmann::json::parse(g_options_reply);
        benchmark::DoNotOptimize(doc);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long>(g_options_reply.size()));
}
BENCHMARK(BM_ParseOptionsReplyFloor);

// Answer handed in as the client's thread would, to the parameter document
// delivered to the host.
void BM_IntakeOptionsReply(benchmark::State& state) {
    if (!ready(state)) return;
    const long before = g_documents;
    for (auto _ : state) g_deliver(g_options_reply.c_str(), "127.0.0.1", 0);
    if (g_documents - before != static_cast<long>(state.iterations())) {
        state.SkipWithError("a parameter document is missing");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long>(g_options_reply.size()));
}
BENCHMARK(BM_IntakeOptionsReply);

void BM_ParseSetterAnswerFloor(benchmark::State& state) {
    if (!ready(state)) return;
    for (auto _ : state) {
        nlohmann::json doc = nlohmann::json::parse(g_setter_answer);
        benchmark::DoNotOptimize(doc);
    }
}
BENCHMARK(BM_ParseSetterAnswerFloor);

void BM_IntakeSetterAnswer(benchmark::State& state) {
    if (!ready(state)) return;
    const long before = g_results;
    for (auto _ : state) g_deliver(g_setter_answer.c_str(), "127.0.0.1", 0);
    if (g_results - before != static_cast<long>(state.iterations())) {
        state.SkipWithError("a command result is missing");
    }
}
BENCHMARK(BM_IntakeSetterAnswer);

// The host's call only: store the value and queue the command. The worker
// drains 10 a second, so the queue grows; the count stays bounded.
void BM_HostSetterCall(benchmark::State& state) {
    if (!ready(state)) return;
    int value = 0;
    for (auto _ : state) SetBrightness("127.0.0.2", 80, value++ % 100);
}
BENCHMARK(BM_HostSetterCall)->Iterations(20000);

}  // namespace

BENCHMARK_MAIN();
