#include "tools/console/console_server.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <regex>
#include <stdexcept>
#include <thread>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tools/console/camera_actions.h"
#include "tools/console/console_http.h"
#include "tools/console/event_stream.h"
#include "tools/console/fleet_routes.h"
#include "tools/console/fleet_view.h"
#include "tools/console/metrics.h"
#include "tools/console/page_assets.h"

namespace osconsole {

namespace {

using nlohmann::json;

// Each open event stream holds one server thread.
constexpr int kServerThreads = 24;
constexpr int kMaxEventStreams = 16;
constexpr std::size_t kMaxBody = 64 * 1024;
// POST /api/cameras/IP/actions/NAME: the camera and the action.
constexpr const char* kActionRoute = R"(/api/cameras/([^/]+)/actions/([a-z0-9-]+))";
// Connections inherit the listening socket's send buffer. Kept small, a
// browser that reads slowly soon holds the event stream's write, and the
// changes meanwhile go out as one batch of latest states, instead of piling
// up in a send buffer the kernel would grow to megabytes.
constexpr int kSendBuffer = 64 * 1024;

// The page's scripts and pictures come from the console itself.
const httplib::Headers kSecurityHeaders = {
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Content-Security-Policy",
     "default-src 'self'; img-src 'self' blob:; style-src 'self'; script-src 'self'; "
     "frame-ancestors 'none'"},
};

bool is_json(const httplib::Request& req) {
    return req.get_header_value("Content-Type").rfind("application/json", 0) == 0;
}

// A firmware upload's parts around its files.
constexpr std::size_t kUploadOverhead = 1024 * 1024;

std::string too_large(std::size_t limit) {
    return "request bodies are limited to " + std::to_string(limit / 1024) + " KiB";
}

// Only a rollout's upload may be large; the server's own limit is set for it.
std::optional<Denial> body_denial(const httplib::Request& req) {
    if (req.path == kRolloutPath) return std::nullopt;
    if (req.get_header_value("Transfer-Encoding").find("chunked") != std::string::npos)
        return Denial{411, "send a Content-Length"};
    if (std::strtoull(req.get_header_value("Content-Length").c_str(), nullptr, 10) > kMaxBody)
        return Denial{413, too_large(kMaxBody)};
    return std::nullopt;
}

// The camera and action a request names, when it is an action at all; the
// fleet's routes name no one camera.
std::optional<ActionRecord> action_of(const httplib::Request& req, std::optional<Role> role) {
    static const std::regex route(kActionRoute);
    std::smatch match;
    if (req.method != "POST") return std::nullopt;
    if (std::regex_match(req.path, match, route))
        return ActionRecord{req.remote_addr, role, match[1], match[2], nullptr};
    if (const char* action = fleet_action_of(req.path))
        return ActionRecord{req.remote_addr, role, "", action, nullptr};
    return std::nullopt;
}

std::unique_ptr<httplib::Server> make_server(const std::optional<TlsFiles>& tls) {
    if (!tls) return std::make_unique<httplib::Server>();
    auto server = std::make_unique<httplib::SSLServer>(tls->certificate.c_str(), tls->key.c_str());
    if (!server->is_valid())
        throw std::runtime_error("cannot use the certificate " + tls->certificate +
                                 " with the key " + tls->key);
    return server;
}

}  // namespace

class ConsoleServer::Impl {
public:
    Impl(FleetStore& store, const AccessPolicy& policy, AuditLog& audit,
         FleetOperations* operations, const std::optional<TlsFiles>& tls)
        : store_(store),
          policy_(policy),
          audit_(audit),
          operations_(operations),
          owned_server_(make_server(tls)) {
        server_.new_task_queue = [] { return new httplib::ThreadPool(kServerThreads); };
        server_.set_payload_max_length(payload_limit());
        server_.set_socket_options([](socket_t sock) {
            const int yes = 1;
            setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
            setsockopt(sock, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof(kSendBuffer));
        });
        server_.set_default_headers(kSecurityHeaders);
        // Before the body is read: a refused request sends it for nothing.
        server_.set_pre_routing_handler(
            [this](const httplib::Request& req, httplib::Response& res) {
                const Admission admission = policy_.check(facts_of(req));
                const auto denial = admission.denial ? admission.denial : body_denial(req);
                if (!denial) return httplib::Server::HandlerResponse::Unhandled;
                refuse(req, res, admission.role, *denial);
                return httplib::Server::HandlerResponse::Handled;
            });
        // Refusals of httplib's own (no route, an upload over its limit) say why too.
        server_.set_error_handler(httplib::Server::HandlerWithResponse(
            [this](const httplib::Request& req, httplib::Response& res) {
                if (!res.body.empty()) return httplib::Server::HandlerResponse::Unhandled;
                if (res.status == 413)
                    refuse(req, res, policy_.check(facts_of(req)).role,
                           {413, too_large(payload_limit())});
                else
                    send_error(res, res.status,
                               res.status == 404 ? "no such route"
                                                 : "the console cannot answer this request");
                return httplib::Server::HandlerResponse::Handled;
            }));
        server_.set_exception_handler(
            [](const httplib::Request&, httplib::Response& res, std::exception_ptr) {
                send_error(res, 500, "the console failed to answer this request");
            });
        install_page();
        install_api();
        install_monitoring();
        if (operations_) install_fleet_routes(server_, store_, policy_, *operations_);
    }

    std::size_t payload_limit() const {
        return operations_ ? operations_->max_upload_bytes() + kUploadOverhead : kMaxBody;
    }

    // An action refused before it reaches the action pipeline is audited here.
    void refuse(const httplib::Request& req, httplib::Response& res, std::optional<Role> role,
                const Denial& denial) {
        if (const auto action = action_of(req, role))
            audit_.refused(*action, denial.status, denial.message);
        send_error(res, denial.status, denial.message);
    }

    void install_page() {
        server_.Get("/", [this](const httplib::Request& req, httplib::Response& res) {
            // The token from the printed address becomes a cookie, and the
            // address bar loses it.
            if (policy_.needs_token() && req.has_param("token")) {
                res.set_header("Set-Cookie", std::string(AccessPolicy::kTokenCookie) + "=" +
                                                 policy_.token(actor_of(policy_, req).role) +
                                                 "; Path=/; HttpOnly; SameSite=Strict" +
                                                 (policy_.tls() ? "; Secure" : ""));
                res.set_redirect("/", 303);
                return;
            }
            send_asset(res, "/index.html");
        });
        server_.Get(
            R"(/[a-z_]+\.(css|js|svg))",
            [](const httplib::Request& req, httplib::Response& res) { send_asset(res, req.path); });
    }

    static void send_asset(httplib::Response& res, const std::string& path) {
        const PageAsset* asset = find_page_asset(path);
        if (!asset) return send_error(res, 404, "no such file");
        res.set_header("Cache-Control", "no-cache");
        res.set_content(std::string(asset->body), std::string(asset->content_type));
    }

    void install_api() {
        server_.Get("/api/cameras", [this](const httplib::Request&, httplib::Response& res) {
            send_json(res, 200, details_json(store_.changes_since(0).cameras, Moment::now().wall));
        });
        // The settings the detail view offers, from the one settings table.
        server_.Get("/api/settings", [](const httplib::Request&, httplib::Response& res) {
            send_json(res, 200, settings_json());
        });
        server_.Get(R"(/api/cameras/([^/]+)/params)",
                    [this](const httplib::Request& req, httplib::Response& res) {
                        const auto doc = store_.params(req.matches[1]);
                        if (!doc)
                            return send_error(res, 404, "no parameter document for this camera");
                        res.set_header("Cache-Control", "no-store");
                        res.set_content(doc->text, "application/json");
                    });
        server_.Get(R"(/api/cameras/([^/]+)/screenshot\.jpeg)",
                    [this](const httplib::Request& req, httplib::Response& res) {
                        const auto picture = store_.screenshot(req.matches[1]);
                        if (!picture) return send_error(res, 404, "no screenshot of this camera");
                        res.set_header("Cache-Control", "no-store");
                        res.set_content(*picture, "image/jpeg");
                    });
        server_.Post(kActionRoute, [this](const httplib::Request& req, httplib::Response& res) {
            if (!req.body.empty() && !is_json(req))
                return refuse(req, res, actor_of(policy_, req).role,
                              {415, "actions take a JSON body"});
            const ActionOutcome outcome = run_action(store_, audit_, req.matches[1], req.matches[2],
                                                     req.body, actor_of(policy_, req));
            if (outcome.status >= 400) return send_error(res, outcome.status, outcome.message);
            send_json(res, outcome.status, {{"queued", outcome.message}});
        });
        server_.Get("/api/events",
                    [this](const httplib::Request&, httplib::Response& res) { serve_events(res); });
    }

    void install_monitoring() {
        // What the page may offer: a viewer's page disables its controls.
        server_.Get("/api/session", [this](const httplib::Request& req, httplib::Response& res) {
            send_json(res, 200, {{"role", role_name(actor_of(policy_, req).role)}});
        });
        server_.Get("/metrics", [this](const httplib::Request&, httplib::Response& res) {
            const auto started = Clock::now();
            std::string text = metrics_text(store_.changes_since(0).cameras, OSC_CONSOLE_VERSION);
            const std::chrono::duration<double, std::milli> took = Clock::now() - started;
            // How long the console took to make the answer, for benchmarks and browsers' tools.
            res.set_header("Server-Timing", "render;dur=" + std::to_string(took.count()));
            res.set_header("Cache-Control", "no-store");
            res.set_content(std::move(text), kMetricsContentType);
        });
    }

    void serve_events(httplib::Response& res) {
        if (++streams_ > kMaxEventStreams) {
            --streams_;
            return send_error(res, 503, "too many open event streams");
        }
        auto stream = std::make_shared<EventStream>(store_, operations_);
        res.set_header("Cache-Control", "no-store");
        res.set_chunked_content_provider(
            "text/event-stream",
            [stream](std::size_t, httplib::DataSink& sink) {
                const auto chunk = stream->next();
                if (!chunk) {
                    sink.done();
                    return true;
                }
                return sink.write(chunk->data(), chunk->size());
            },
            [this](bool) { --streams_; });
    }

    FleetStore& store_;
    const AccessPolicy& policy_;
    AuditLog& audit_;
    FleetOperations* operations_;
    std::unique_ptr<httplib::Server> owned_server_;  // an SSLServer with TLS
    httplib::Server& server_ = *owned_server_;
    std::atomic<int> streams_{0};
    std::thread listener_;
};

ConsoleServer::ConsoleServer(FleetStore& store, const AccessPolicy& policy, AuditLog& audit,
                             FleetOperations* operations, const std::optional<TlsFiles>& tls)
    : impl_(std::make_unique<Impl>(store, policy, audit, operations, tls)) {}

ConsoleServer::~ConsoleServer() {
    stop();
}

int ConsoleServer::start(const std::string& host, int port) {
    httplib::Server& server = impl_->server_;
    const int bound =
        port == 0 ? server.bind_to_any_port(host) : (server.bind_to_port(host, port) ? port : -1);
    if (bound <= 0) return -1;
    impl_->listener_ = std::thread([&server] { server.listen_after_bind(); });
    // stop() does nothing until the accept loop runs; wait for it so that an
    // early stop is not lost.
    while (!server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return bound;
}

void ConsoleServer::stop() {
    impl_->store_.close();
    impl_->server_.stop();
    if (impl_->listener_.joinable()) impl_->listener_.join();
}

}  // namespace osconsole
