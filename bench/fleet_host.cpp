#include "fleet_host.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "IVeskOSCHandlerInst.h"

namespace bench {

HostState g_host;
std::unique_ptr<std::atomic<long long>[]> g_arrival;
std::unique_ptr<std::atomic<long long>[]> g_answer_at;
std::unique_ptr<std::atomic<long long>[]> g_answer_done_at;
std::atomic<int> g_watched_port{0};
std::atomic<int> g_watched_cameras{0};
std::unordered_map<std::string, int> g_camera_index;
std::string g_client_dir = OSC_CLIENT_DIR;

namespace {

void on_params(const char* ip, const char*) {
    const auto now = Clock::now();
    std::lock_guard<std::mutex> lock(g_host.mutex);
    g_host.documents[ip].push_back(now);
    g_host.changed.notify_all();
}

void on_result(const char* ip, const char* command, bool ok, const char* message) {
    const long long arrived_ns = now_ns();
    std::lock_guard<std::mutex> lock(g_host.mutex);
    if (!ok) {
        if (g_host.failures++ < 5) std::fprintf(stderr, "failed: %s %s %s\n", ip, command, message);
        g_host.changed.notify_all();
        return;
    }
    ++g_host.ok_results[std::string(ip) + " " + command];
    if (std::strcmp(command, "SetBrightness") == 0) {
        ++g_host.setter_results;
        g_host.last_setter_result = Clock::now();
        const auto found = g_camera_index.find(ip);
        if (found != g_camera_index.end()) {
            // The next answer's bytes come only after this callback has returned.
            const long long answer_at = g_answer_at[found->second].exchange(0);
            const long long done_at = g_answer_done_at[found->second].exchange(0);
            if (g_host.record_latency) {
                // Known only when the cameras run in this process.
                const long long sent = g_arrival[found->second].load();
                if (sent != 0) {
                    g_host.round_us.push_back(static_cast<double>(arrived_ns - sent) / 1000.0);
                }
                if (answer_at != 0) {
                    g_host.latencies_us.push_back(static_cast<double>(arrived_ns - answer_at) /
                                                  1000.0);
                    g_host.complete_us.push_back(static_cast<double>(arrived_ns - done_at) /
                                                 1000.0);
                }
            }
        }
    }
    g_host.changed.notify_all();
}

void discard_log(const char*) {}

}  // namespace

void reset_host() {
    std::lock_guard<std::mutex> lock(g_host.mutex);
    g_host.documents.clear();
    g_host.ok_results.clear();
    g_host.setter_results = 0;
    g_host.failures = 0;
    g_host.latencies_us.clear();
    g_host.complete_us.clear();
    g_host.round_us.clear();
}

void watch_answers(int port, int count) {
    g_arrival.reset(new std::atomic<long long>[count]);
    g_answer_at.reset(new std::atomic<long long>[count]);
    g_answer_done_at.reset(new std::atomic<long long>[count]);
    for (int i = 0; i < count; ++i) g_arrival[i] = g_answer_at[i] = g_answer_done_at[i] = 0;
    g_camera_index.clear();
    for (int i = 0; i < count; ++i) g_camera_index[camera_ip(i)] = i;
    g_watched_cameras = count;
    g_watched_port = port;
}

void load_handler() {
    // Init succeeds without a client library too; nothing would answer then.
    const std::string library = g_client_dir + "/libVesk_OSC.dylib";
    if (access(library.c_str(), R_OK) != 0) {
        std::fprintf(stderr, "no client library %s\n", library.c_str());
        std::exit(1);
    }
    if (Init(g_client_dir.c_str()) == nullptr) {
        std::fprintf(stderr, "Init failed\n");
        std::exit(1);
    }
    SetDataCallback(nullptr, on_params, on_result, nullptr);
    // A host forwards log lines to its own logger; here they are dropped.
    SetLogCallback(discard_log);
}

void warm_up(int port, int cameras) {
    reset_host();
    for (int i = 0; i < cameras; ++i) SetBrightness(camera_ip(i).c_str(), port, 50);
    const bool all = wait_host([&] { return g_host.setter_results + g_host.failures >= cameras; },
                               std::chrono::minutes(5));
    std::lock_guard<std::mutex> lock(g_host.mutex);
    if (!all || g_host.failures > 0) {
        std::fprintf(stderr, "warm-up: %ld of %d cameras answered\n", g_host.setter_results,
                     cameras);
        std::exit(1);
    }
}

}  // namespace bench

// Reads of the answers: libcurl receives through recv(), which this program
// defines over the C library's to note when an answer's first and last bytes
// from a simulated camera reach our process. Defined here only: one
// definition per program.
extern "C" ssize_t recv(int fd, void* buf, size_t len, int flags) {
    using Recv = ssize_t (*)(int, void*, size_t, int);
    static const Recv real = reinterpret_cast<Recv>(dlsym(RTLD_NEXT, "recv"));
    const ssize_t n = real(fd, buf, len, flags);
    const int port = bench::g_watched_port.load(std::memory_order_relaxed);
    if (n <= 0 || port == 0) return n;
    const long long at = bench::now_ns();
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) != 0 ||
        peer.sin_family != AF_INET || ntohs(peer.sin_port) != port) {
        return n;  // not a connection to a camera (the simulator's own sockets)
    }
    const unsigned address = ntohl(peer.sin_addr.s_addr);
    const int camera = static_cast<int>(address & 0xff) - 1;
    if ((address >> 24) != 127 || camera < 0 || camera >= bench::g_watched_cameras.load()) return n;
    long long none = 0;
    bench::g_answer_at[camera].compare_exchange_strong(none, at);
    bench::g_answer_done_at[camera].store(at);
    return n;
}
