#include "fleet_host.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "IVeskOSCHandlerInst.h"

namespace bench {

HostState g_host;
std::unique_ptr<std::atomic<long long>[]> g_arrival;
std::unique_ptr<std::atomic<long long>[]> g_answer_at;
std::atomic<int> g_watched_port{0};
std::atomic<int> g_watched_cameras{0};
std::unordered_map<std::string, int> g_camera_index;

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
            if (g_host.record_latency) {
                const long long sent = g_arrival[found->second].load();
                g_host.round_us.push_back(static_cast<double>(arrived_ns - sent) / 1000.0);
                if (answer_at != 0) {
                    g_host.latencies_us.push_back(static_cast<double>(arrived_ns - answer_at) /
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
    g_host.round_us.clear();
}

void load_handler() {
    if (Init(OSC_CLIENT_DIR) == nullptr) {
        std::fprintf(stderr, "Init failed\n");
        std::exit(1);
    }
    SetDataCallback(nullptr, on_params, on_result, nullptr);
    // A host forwards log lines to its own logger; here they are dropped.
    SetLogCallback(discard_log);
}

}  // namespace bench

// Reads of the answers: libcurl receives through recv(), which this program
// defines over the C library's to note when an answer's first bytes from a
// simulated camera reach our process. Defined here only: one definition per
// program.
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
    return n;
}
