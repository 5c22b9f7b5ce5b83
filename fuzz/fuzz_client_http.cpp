// Raw HTTP answers, byte for byte as a camera might send them, through the
// client's HTTP layer (libcurl) and its answer shaping. A loopback server
// answers every connection with the current input and closes it, so no input
// can hold the client longer than one short timeout.
//
// Input: byte 0 picks the request; byte 1 bit 0 reads the answer as a
// firmware update's line stream, bit 1 has the camera answer one plain request
// first (state left behind by an earlier answer matters); the rest is the HTTP
// answer.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <arpa/inet.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <mutex>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

#include "client/answer_shapes.h"
#include "client/exchange.h"
#include "client/request_catalog.h"
#include "client/transfer_loop.h"

namespace {

using namespace oscclient;

// Requests whose answers the client reshapes in different ways.
const char* const kOperations[] = {
    "GetInfo",        "GetCameraState",   "GetOptionsAll", "GetFwVer1220_1230",
    "TakeScreenShot", "GetCaptureStatus", "Reboot",        "SetDhcp",
    "GetCpuUsage",    "StartStreaming",   "GetROI",        "GetUpdateProgress",
};

const char* const kPlainAnswer =
    "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 16\r\n"
    "Keep-Alive: timeout=5\r\n\r\n{\"state\":\"done\"}";

class RawServer {
public:
    RawServer() {
        listener_ = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            listen(listener_, 16) != 0 ||
            getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            std::abort();
        }
        port_ = ntohs(address.sin_port);
        std::thread([this] { serve(); }).detach();
    }

    int port() const { return port_; }

    void answer_with(std::string bytes) {
        std::lock_guard<std::mutex> lock(mutex_);
        answer_ = std::move(bytes);
    }

private:
    void serve() {
        for (;;) {
            const int connection = accept(listener_, nullptr, nullptr);
            if (connection < 0) continue;
            read_request(connection);
            std::string bytes;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                bytes = answer_;
            }
            for (std::size_t sent = 0; sent < bytes.size();) {
                const ssize_t n =
                    send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
                if (n <= 0) break;
                sent += static_cast<std::size_t>(n);
            }
            shutdown(connection, SHUT_RDWR);
            close(connection);
        }
    }

    // Reads the head and as much body as it announces, so that closing the
    // socket does not turn into a reset before the client has read.
    static void read_request(int connection) {
        std::string request;
        char buffer[4096];
        std::size_t body_end = std::string::npos;
        while (body_end == std::string::npos || request.size() < body_end) {
            const ssize_t n = recv(connection, buffer, sizeof buffer, 0);
            if (n <= 0) return;
            request.append(buffer, static_cast<std::size_t>(n));
            const std::size_t head_end = request.find("\r\n\r\n");
            if (head_end == std::string::npos) continue;
            std::size_t length = 0;
            const std::size_t field = request.find("Content-Length: ");
            if (field != std::string::npos && field < head_end) {
                length = std::strtoul(request.c_str() + field + 16, nullptr, 10);
            }
            body_end = head_end + 4 + length;
        }
    }

    int listener_ = -1;
    int port_ = 0;
    std::mutex mutex_;
    std::string answer_;
};

// Every answer handed to the handler must be one it can read: a failure is
// an object naming the request and a reason.
void check_delivery(const Request& request, const std::string& text, int status) {
    if (status == 0) return;
    const nlohmann::json doc = nlohmann::json::parse(text);
    if (doc.at("name") != request.name || doc.at("func") != request.func ||
        !doc.at("reason").is_string()) {
        __builtin_trap();
    }
}

struct Harness {
    RawServer server;
    ClientOptions options = short_limits();
    TransferLoop loop{options};
    CameraLink link{"127.0.0.1", ""};

    static ClientOptions short_limits() {
        ClientOptions o;
        o.connect_timeout = std::chrono::milliseconds(200);
        o.request_timeout = std::chrono::milliseconds(1000);
        return o;
    }

    // Runs the job on the client's loop and waits until it has finished.
    void run(CameraDispatcher::Job job) {
        std::promise<void> finished;
        loop.post([&] { job(link, loop, [&] { finished.set_value(); }); });
        finished.get_future().wait();
    }

    // Streams the answer line by line, as a firmware update's is read.
    std::size_t stream_lines(const Request& request) {
        HttpCall call;
        call.method = HttpCall::Method::PostJson;
        call.url = base_url("127.0.0.1", server.port()) + request.path;
        call.body = request.body.dump();
        call.limits = {options.connect_timeout, options.request_timeout, 0,
                       std::chrono::seconds(0)};
        std::size_t bytes = 0;
        call.on_line = [&bytes](const std::string& line) { bytes += line.size(); };
        std::promise<void> done;
        loop.post([&] { loop.start(std::move(call), [&](HttpResult) { done.set_value(); }); });
        done.get_future().wait();
        return bytes;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Harness* harness = new Harness();  // lives for the process
    if (size < 2) return 0;
    const Request* request = fixed_request(kOperations[data[0] % std::size(kOperations)]);
    if (request == nullptr) __builtin_trap();
    const bool line_stream = (data[1] & 1) != 0;
    if ((data[1] & 2) != 0) {
        harness->server.answer_with(kPlainAnswer);
        harness->run(request_job(harness->server.port(), *request, harness->options,
                                 [](const std::string&, const std::string&, int) {}));
    }
    harness->server.answer_with(std::string(reinterpret_cast<const char*>(data + 2), size - 2));

    if (line_stream) {
        // Lines come only from the answer.
        if (harness->stream_lines(*request) > size) __builtin_trap();
        return 0;
    }
    int deliveries = 0;
    harness->run(request_job(harness->server.port(), *request, harness->options,
                             [&](const std::string& text, const std::string& ip, int status) {
                                 ++deliveries;
                                 if (ip != "127.0.0.1") __builtin_trap();
                                 check_delivery(*request, text, status);
                             }));
    if (deliveries != 1) __builtin_trap();
    return 0;
}
