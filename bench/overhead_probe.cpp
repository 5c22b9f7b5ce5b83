// overhead_probe: instructions the handler spends per command, counted by
// callgrind. Without arguments it records the real answers of a simulated
// camera (through our client library), runs itself under callgrind against
// the benchmarks' minimal client library, and prints the counts.
#include <dlfcn.h>
#include <semaphore.h>
#include <spawn.h>
#include <sys/wait.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "IVeskOSCHandlerInst.h"
#include "answer_capture.h"
#include "fake_control.h"
#include "summary.h"

extern char** environ;

namespace {

using namespace std::chrono_literals;
using nlohmann::json;
namespace fs = std::filesystem;

std::atomic<int> g_documents{0};
std::atomic<int> g_results{0};

void count_document(const char*, const char*) {
    ++g_documents;
}
void count_result(const char*, const char*, bool, const char*) {
    ++g_results;
}
void drop_log(const char*) {}

// ---- Counting, under callgrind, against the minimal client library

sem_t g_called;
std::atomic<bool> g_stop_at_call{false};
decltype(&bench_fake_deliver) g_deliver = nullptr;

void on_client_call(const char*, const char*) {
    // The client call ends the window that the host's call opened.
    if (g_stop_at_call.exchange(false)) CALLGRIND_STOP_INSTRUMENTATION;
    sem_post(&g_called);
}

void wait_call() {
    while (sem_wait(&g_called) != 0) {
    }
}

void deliver(const std::string& text) {
    g_deliver(text.c_str(), "127.0.0.1", 0);
}

int measure(const std::string& answers_file, int reps) {
    std::ifstream in(answers_file);
    const json answers = json::parse(in);
    const std::string setter_answer = answers["setter"]["answer"];
    std::vector<std::string> refresh;
    std::size_t options_index = 0;
    for (const auto& a : answers["refresh"]) {
        if (a["command"] == "GetOptionsAll") options_index = refresh.size();
        refresh.push_back(a["answer"]);
    }
    if (options_index == 0) throw std::runtime_error("no options reply recorded");

    sem_init(&g_called, 0, 0);
    Init(OSC_FAKE_CLIENT_DIR);
    SetDataCallback(nullptr, count_document, count_result, nullptr);
    SetLogCallback(drop_log);
    void* fake = dlopen(OSC_FAKE_CLIENT_DIR "/libVesk_OSC.dylib", RTLD_NOW | RTLD_NOLOAD);
    if (fake == nullptr) throw std::runtime_error("the minimal client library is not loaded");
    reinterpret_cast<decltype(&bench_fake_set_call_hook)>(dlsym(fake, "bench_fake_set_call_hook"))(
        on_client_call);
    g_deliver = reinterpret_cast<decltype(&bench_fake_deliver)>(dlsym(fake, "bench_fake_deliver"));
    const char* ip = "127.0.0.1";
    const int port = 80;

    // Warm-up: the camera's entry and worker exist, every path ran once.
    GetCameraSettings(ip, port, true);
    for (const auto& text : refresh) {
        wait_call();
        deliver(text);
    }
    SetBrightness(ip, port, 1);
    wait_call();
    deliver(setter_answer);

    for (int rep = 0; rep < reps; ++rep) {
        // Setter: the host's call, the worker's send, the answer's intake.
        CALLGRIND_START_INSTRUMENTATION;
        SetBrightness(ip, port, 10 + rep % 50);
        CALLGRIND_STOP_INSTRUMENTATION;
        CALLGRIND_DUMP_STATS_AT("setter host call");
        g_stop_at_call = true;
        CALLGRIND_START_INSTRUMENTATION;
        wait_call();
        CALLGRIND_DUMP_STATS_AT("setter worker send");
        const int results = g_results;
        CALLGRIND_START_INSTRUMENTATION;
        deliver(setter_answer);
        CALLGRIND_STOP_INSTRUMENTATION;
        CALLGRIND_DUMP_STATS_AT("setter answer to callback");
        if (g_results != results + 1) throw std::runtime_error("no result for the setter");
        CALLGRIND_START_INSTRUMENTATION;
        { const json doc = json::parse(setter_answer); }
        CALLGRIND_STOP_INSTRUMENTATION;
        CALLGRIND_DUMP_STATS_AT("setter parse floor");

        // Full refresh: the host's call, then the options reply's send and intake.
        CALLGRIND_START_INSTRUMENTATION;
        GetCameraSettings(ip, port, true);
        CALLGRIND_STOP_INSTRUMENTATION;
        CALLGRIND_DUMP_STATS_AT("options host call");
        for (std::size_t i = 0; i < refresh.size(); ++i) {
            if (i == options_index) {
                g_stop_at_call = true;
                CALLGRIND_START_INSTRUMENTATION;
                wait_call();
                CALLGRIND_DUMP_STATS_AT("options worker send");
                const int documents = g_documents;
                CALLGRIND_START_INSTRUMENTATION;
                deliver(refresh[i]);
                CALLGRIND_STOP_INSTRUMENTATION;
                CALLGRIND_DUMP_STATS_AT("options answer to callback");
                if (g_documents != documents + 1) throw std::runtime_error("no parameter document");
                CALLGRIND_START_INSTRUMENTATION;
                { const json doc = json::parse(refresh[i]); }
                CALLGRIND_STOP_INSTRUMENTATION;
                CALLGRIND_DUMP_STATS_AT("options parse floor");
                continue;
            }
            wait_call();
            deliver(refresh[i]);
        }
    }
    Destroy();
    return 0;
}

// ---- Reading callgrind's dumps

std::map<std::string, std::vector<double>> read_dumps(const fs::path& dir) {
    std::map<std::string, std::vector<double>> counts;
    for (const auto& entry : fs::directory_iterator(dir)) {
        std::ifstream in(entry.path());
        std::string label;
        double total = -1;
        for (std::string line; std::getline(in, line);) {
            static const std::string kDesc = "desc: Trigger: Client Request: ";
            if (line.rfind(kDesc, 0) == 0) label = line.substr(kDesc.size());
            // "totals" holds the window's count; "summary" may stay 0.
            if (line.rfind("totals: ", 0) == 0) total = std::stod(line.substr(8));
        }
        if (!label.empty() && total >= 0) counts[label].push_back(total);
    }
    return counts;
}

int run_all(int reps, bool keep) {
    const fs::path dir = fs::temp_directory_path() / ("osc-overhead-" + std::to_string(getpid()));
    fs::create_directories(dir);
    const fs::path answers = dir / "answers.json";
    std::ofstream(answers) << bench::capture_answers(OSC_CLIENT_DIR).dump();

    char self[4096] = {};
    if (readlink("/proc/self/exe", self, sizeof self - 1) <= 0) return 1;
    const fs::path dumps = dir / "dumps";
    fs::create_directories(dumps);
    const std::vector<std::string> args = {
        "valgrind",
        "--tool=callgrind",
        "--instr-atstart=no",
        "--quiet",
        "--callgrind-out-file=" + (dumps / "callgrind.out").string(),
        self,
        "measure",
        answers.string(),
        "--reps",
        std::to_string(reps)};
    std::vector<char*> argv;
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = -1;
    if (posix_spawnp(&pid, "valgrind", nullptr, nullptr, argv.data(), environ) != 0) {
        std::fprintf(stderr, "cannot run valgrind\n");
        return 1;
    }
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "the measurement under callgrind failed\n");
        return 1;
    }
    auto counts = read_dumps(dumps);
    if (keep) {
        std::fprintf(stderr, "callgrind dumps kept in %s\n", dumps.c_str());
    } else {
        fs::remove_all(dir);
    }

    auto figure = [&](const std::string& name, const std::string& label) {
        bench::Figure f{"3 Overhead per command", name, "instr", 0};
        f.values = counts[label];
        return f;
    };
    auto sum = [](const std::vector<double>& a, const std::vector<double>& b) {
        std::vector<double> out;
        for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) out.push_back(a[i] + b[i]);
        return out;
    };
    auto under_20000 = [](double value, double) { return value < 20000; };
    auto within_2x = [](double, double ratio) { return ratio <= 2.0; };

    bench::Figure setter_host = figure("setter: host call SetBrightness", "setter host call");
    bench::Figure setter_send =
        figure("setter: worker pass to the client call", "setter worker send");
    bench::Figure setter_to_client = figure("setter: host call to client call (sum)", "");
    setter_to_client.values = sum(setter_host.values, setter_send.values);
    setter_to_client.goal = "< 20 000";
    setter_to_client.met = +under_20000;
    bench::Figure setter_answer =
        figure("setter: answer to command-result callback", "setter answer to callback");
    setter_answer.limits = counts["setter parse floor"];
    setter_answer.limit_name = "json::parse of the answer";
    setter_answer.goal = "< 20 000";
    setter_answer.met = +under_20000;
    bench::Figure setter_total = figure("setter: both directions (sum)", "");
    setter_total.values = sum(setter_to_client.values, setter_answer.values);
    setter_total.goal = "< 20 000";
    setter_total.met = +under_20000;

    bench::Figure options_host = figure(
        "options: host call GetCameraSettings (queues the full refresh)", "options host call");
    bench::Figure options_send =
        figure("options: worker pass to the client call GetOptionsAll", "options worker send");
    bench::Figure options_answer = figure(
        "options: full options reply to parameter-document callback", "options answer to callback");
    options_answer.limits = counts["options parse floor"];
    options_answer.limit_name = "json::parse of the reply";
    options_answer.goal = "ratio <= 2";
    options_answer.met = +within_2x;
    bench::Figure floor =
        figure("options: json::parse of the reply alone (floor)", "options parse floor");

    for (const auto* f : {&setter_host, &setter_send, &setter_to_client, &setter_answer,
                          &setter_total, &options_host, &options_send, &options_answer, &floor}) {
        bench::print_row(*f);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Handler instructions per command, counted by callgrind"};
    bool header = false;
    bool keep = false;
    int reps = 20;
    std::string answers;
    app.add_flag("--header", header, "print the table header first");
    app.add_flag("--keep", keep, "keep callgrind's dumps");
    app.add_option("--reps", reps, "measured repetitions (figures are their median)")
        ->check(CLI::PositiveNumber);
    auto* measure_cmd = app.add_subcommand("measure", "count under callgrind (used internally)");
    measure_cmd->add_option("answers", answers, "recorded answers")->required();
    measure_cmd->add_option("--reps", reps, "repetitions");
    CLI11_PARSE(app, argc, argv);
    try {
        if (*measure_cmd) return measure(answers, reps);
        if (header) bench::print_header();
        return run_all(reps, keep);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "overhead_probe: %s\n", e.what());
        return 1;
    }
}
