// The console's HTTP API against a simulated camera, through the handler and
// our client library: refused requests answer 4xx with a reason and reach no
// camera; each route answers each role as it may; the audit log keeps every
// action request and a queued action's result.
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include <unistd.h>

#include <gtest/gtest.h>
#include <httplib.h>

#include "host/session.h"
#include "sim/camera_sim.h"
#include "support/eventually.h"
#include "tools/console/access_policy.h"
#include "tools/console/audit_log.h"
#include "tools/console/console_server.h"
#include "tools/console/health_poller.h"
#include "tools/console/screenshot_fetcher.h"

namespace osconsole {
namespace {

using namespace std::chrono_literals;

using osctest::eventually;

struct Call {
    std::string path;  // after /api/
    std::string body;
    int status;
    std::string reason;  // part of the answer
    bool cross_origin = false;
};

// A file in the tests' scratch folder, with nothing in it yet; named after the
// running test and process, as ctest runs this file's tests side by side.
std::string fresh_path(const char* name) {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string path =
        ::testing::TempDir() + test->name() + "_" + std::to_string(::getpid()) + "_" + name;
    std::remove(path.c_str());
    return path;
}

// A camera the console knows whose parameter document never arrives.
const std::string kSilent = "127.0.0.78";

class ConsoleApiTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(camera_.start());
        store_.add_camera({camera_.host(), camera_.port()});
        store_.add_camera({kSilent, camera_.port()});  // nothing listens there
        session_ = std::make_unique<oschost::Session>(CONSOLE_CLIENT_DIR);
        session_->subscribe([this](const oschost::Event& e) { store_.on_event(e); });
        session_->subscribe([this](const oschost::Event& e) { audit_.on_event(e); });
        poller_ = std::make_unique<HealthPoller>(store_, 500ms);
        port_ = server_.start("127.0.0.1", 0);
        ASSERT_GT(port_, 0);
        ASSERT_TRUE(eventually([&] {
            const auto camera = store_.action_view(ip());
            return camera->params && !camera->fetching;
        }));
    }

    void TearDown() override {
        server_.stop();
        poller_.reset();
        session_.reset();
    }

    std::string ip() const { return camera_.host(); }

    httplib::Result post(const Call& call) {
        httplib::Client client("127.0.0.1", port_);
        const httplib::Headers origin{{"Origin", "http://127.0.0.9:9"}};
        return client.Post(("/api/" + call.path).c_str(),
                           call.cross_origin ? origin : httplib::Headers{}, call.body,
                           "application/json");
    }

    // Requests that change a camera, as the simulator saw them.
    std::vector<std::string> changes() const {
        std::vector<std::string> seen;
        for (const auto& request : camera_.requests())
            if (request.command == "camera.setOptions" || request.command == "camera._uploadFile" ||
                request.command == "camera._update" || request.command == "camera._reboot")
                seen.push_back(request.body);
        return seen;
    }

    // The audit log's lines with this outcome.
    std::vector<nlohmann::json> audited(const std::string& outcome) const {
        std::vector<nlohmann::json> lines;
        std::ifstream file(audit_path_);
        for (std::string line; std::getline(file, line);)
            if (const auto doc = nlohmann::json::parse(line); doc["outcome"] == outcome)
                lines.push_back(doc);
        return lines;
    }

    const std::string audit_path_ = fresh_path("console_api_audit.jsonl");
    oscsim::CameraSim camera_;
    FleetStore store_;
    AccessPolicy policy_{"127.0.0.1"};
    AuditLog audit_{audit_path_};
    FleetOperations operations_{store_, audit_, {}, 1 << 20};
    ConsoleServer server_{store_, policy_, audit_, &operations_};
    std::unique_ptr<oschost::Session> session_;
    std::unique_ptr<HealthPoller> poller_;
    int port_ = 0;
};

TEST_F(ConsoleApiTest, RefusedRequestsSayWhyAndReachNoCamera) {
    const std::string cam = "cameras/" + ip() + "/actions/";
    const std::string bulk = R"({"action":"brightness","value":101,"cameras":[")";
    const Call calls[] = {
        {"cameras/127.0.0.77/actions/brightness", R"({"value":10})", 404, "no camera 127.0.0.77"},
        {cam + "teleport", "{}", 404, "no action teleport"},
        {cam + "brightness", R"({"value": )", 400, "not valid JSON"},
        {cam + "brightness", "[50]", 400, "must be a JSON object"},
        {cam + "contrast", "{}", 400, "needs an integer"},
        {cam + "contrast", R"({"value":"60"})", 400, "needs an integer"},
        {cam + "brightness", R"({"value":101})", 400, "outside the range 0..100 of camera " + ip()},
        {cam + "mode", R"({"value":4})", 400, "outside the range 0..3"},
        {"bulk", bulk + ip() + R"("]})", 202, "101 is outside the range 0..100 of camera " + ip()},
        {"bulk", bulk + R"(127.0.0.77"]})", 202, "no camera 127.0.0.77"},
        {"bulk", R"({"action":"reboot","cameras":[]})", 400, "select at least one camera"},
        {cam + "roi", R"({"layout":{"srcWidth":3840}})", 400, "in mode 1; an ROI layout needs"},
        {cam + "firmware", R"({"ast1220":"/nonexistent/update.img"})", 400, "is not a file"},
        {cam + "firmware", R"({"ast1230":["/etc/hostname","/etc/hostname"]})", 400, "three paths"},
        {cam + "brightness", R"({"value":10})", 403, "cross-origin", true},
    };
    for (const Call& call : calls) {
        const auto answer = post(call);
        ASSERT_TRUE(answer) << call.path << " " << call.body;
        EXPECT_EQ(answer->status, call.status) << call.path << " " << call.body;
        EXPECT_NE(answer->body.find(call.reason), std::string::npos) << answer->body;
    }

    // Without its document a camera's ranges are unknown: refused until it comes.
    int status = 0;
    EXPECT_TRUE(eventually([&] {
        const auto answer =
            post({"cameras/" + kSilent + "/actions/brightness", R"({"value":10})", 0, ""});
        status = answer ? answer->status : 0;
        return answer && answer->body.find("is not known yet") != std::string::npos;
    }));
    EXPECT_EQ(status, 409);

    // The marker: a good request, seen by the camera after all the others.
    const auto accepted = post({cam + "brightness", R"({"value":61})", 202, ""});
    ASSERT_TRUE(accepted);
    EXPECT_EQ(accepted->status, 202) << accepted->body;
    ASSERT_TRUE(eventually([&] { return camera_.snapshot()["options"]["_brightness"] == 61; }));
    const auto seen = changes();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_NE(seen[0].find(R"("_brightness":61)"), std::string::npos) << seen[0];
    // Each refusal is in the audit log, the 409s until the document came included.
    EXPECT_GE(audited("refused").size(), std::size(calls) + 1);
}

// With tokens (given, here on loopback) every route answers each role as it
// may, and nothing a refused request asks for reaches the camera.
TEST_F(ConsoleApiTest, EachRouteAnswersEachRoleAsItMay) {
    const std::string op(20, 'o'), viewer(20, 'v');
    const AccessPolicy policy({"127.0.0.1", false, op, viewer});
    ConsoleServer server(store_, policy, audit_, &operations_);
    const int port = server.start("127.0.0.1", 0);
    ASSERT_GT(port, 0);
    const httplib::Headers none, wrong{{"X-Console-Token", std::string(20, 'x')}},
        as_viewer{{"X-Console-Token", viewer}}, bearer{{"Authorization", "Bearer " + viewer}},
        cookie{{"Cookie", "theme=dark; console_token=" + viewer}},
        as_operator{{"X-Console-Token", op}},
        foreign{{"X-Console-Token", op}, {"Origin", "http://127.0.0.9:9"}};
    const std::string act = "/api/cameras/" + ip() + "/actions/brightness";
    const char* look = "the viewer token may only look";
    struct Row {
        const char* method;
        std::string path;
        const httplib::Headers& who;
        int status;
        const char* answer = "";  // part of the answer
        std::string send = R"({"value":7})";
    };
    const Row rows[] = {
        {"GET", "/", none, 401, "needs an access token"},
        {"GET", "/", wrong, 401},
        {"GET", "/", cookie, 200, "<!doctype html>"},
        {"GET", "/console.js", as_viewer, 200},
        {"GET", "/api/cameras", as_viewer, 200, "camera-1"},
        {"GET", "/api/settings", bearer, 200, "brightness"},
        {"GET", "/api/cameras/" + ip() + "/params", cookie, 200, "ast1220_ver"},
        {"GET", "/api/events", as_viewer, 200},
        {"GET", "/api/cameras/" + ip(), as_viewer, 200, "camera-1"},
        {"GET", "/api/rollout", bearer, 200, R"("parallel":)"},
        {"GET", "/api/session", as_viewer, 200, R"({"role":"viewer"})"},
        {"GET", "/api/session", as_operator, 200, R"({"role":"operator"})"},
        {"GET", "/metrics", bearer, 200, "osc_camera_up{camera="},
        {"GET", "/metrics", none, 401},
        {"GET", "/nowhere", as_viewer, 404, "no such route"},
        {"POST", act, none, 401},
        {"POST", act, wrong, 401},
        {"POST", act, as_viewer, 403, look},
        {"POST", act, bearer, 403, look},
        {"POST", act, cookie, 403, look},
        {"POST", act, foreign, 403, "cross-origin"},
        {"POST", act, as_operator, 413, "limited to 64 KiB", std::string(70 * 1024, ' ')},
        {"POST", "/api/bulk", as_viewer, 403, look,
         R"({"action":"reboot","cameras":["127.0.0.1"]})"},
        {"POST", "/api/nowhere", as_viewer, 403, look},
        {"POST", "/api/nowhere", as_operator, 404, "no such route"},
    };
    httplib::Client client("127.0.0.1", port);
    std::string denied;  // the 401 answer, the same whichever token was wrong
    for (const Row& row : rows) {
        int status = 0;
        std::string body;
        if (row.method == std::string("GET")) {
            // The event stream never ends: its answer's head is enough.
            client.Get(
                row.path, row.who,
                [&](const httplib::Response& r) {
                    status = r.status;
                    return row.path != "/api/events";
                },
                [&](const char* data, std::size_t size) { return body.append(data, size), true; });
        } else if (const auto r = client.Post(row.path, row.who, row.send, "application/json")) {
            status = r->status;
            body = r->body;
        }
        EXPECT_EQ(status, row.status) << row.method << " " << row.path;
        EXPECT_NE(body.find(row.answer), std::string::npos) << row.path << ": " << body;
        if (status == 401) {
            if (denied.empty()) denied = body;
            EXPECT_EQ(body, denied);
        }
    }
    // The printed address hands its token over as a cookie and drops it from the URL.
    const auto page = client.Get("/?token=" + viewer);
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 303);
    EXPECT_EQ(page->get_header_value("Set-Cookie").rfind("console_token=" + viewer + ";", 0), 0u);

    // The operator's change, after all the others: the only one the camera saw.
    ASSERT_TRUE(client.Post(act, as_operator, R"({"value":23})", "application/json"));
    ASSERT_TRUE(eventually([&] { return !audited("ok").empty(); }));
    ASSERT_EQ(changes().size(), 1u);
    EXPECT_NE(changes()[0].find(R"("_brightness":23)"), std::string::npos);
    const auto queued = audited("queued"), done = audited("ok");
    ASSERT_EQ(queued.size(), 1u);
    EXPECT_EQ(queued[0]["parameters"], nlohmann::json({{"value", 23}}));
    EXPECT_EQ(queued[0]["role"], "operator");
    EXPECT_EQ(queued[0]["remote"], "127.0.0.1");
    EXPECT_EQ(done[0]["operation"], "SetBrightness");
    EXPECT_EQ(done[0]["id"], queued[0]["id"]);
    EXPECT_TRUE(done[0]["result"].is_string()) << done[0];
    // Every refused action request: 2 without a token, 4 as a viewer (one a bulk
    // run), from another origin, too large.
    const auto refused = audited("refused");
    EXPECT_EQ(refused.size(), 8u);
    EXPECT_EQ(std::count_if(refused.begin(), refused.end(),
                            [](const auto& line) { return line["role"] == "viewer"; }),
              4);
    server.stop();
}

// A rollout reaches the camera through the one action pipeline: its update is
// audited and counted in the metrics as any other.
TEST_F(ConsoleApiTest, ARolloutIsAuditedAndCountedAsAnyUpdate) {
    httplib::Client client("127.0.0.1", port_);
    const httplib::MultipartFormDataItems parts = {
        {"ast1220", std::string(4096, 'f'), "update.img", "application/octet-stream"},
        {"cameras", ip(), "", ""}};
    const auto started = client.Post("/api/rollout", parts);
    ASSERT_TRUE(started);
    ASSERT_EQ(started->status, 202) << started->body;
    const std::string counted = "osc_camera_firmware_updates_total{camera=\"" + ip() + ":" +
                                std::to_string(camera_.port()) + "\",result=\"ok\"} 1";
    EXPECT_TRUE(eventually(
        [&] {
            const auto metrics = client.Get("/metrics");
            return metrics && metrics->body.find(counted) != std::string::npos;
        },
        60s));
    const auto queued = audited("queued");
    ASSERT_EQ(queued.size(), 1u);
    EXPECT_EQ(queued[0]["operation"], "Update1220Firmware");
    EXPECT_EQ(queued[0]["camera"], ip());
}

// A camera cannot make the console hold more than 16 MiB for one picture.
TEST(ConsoleScreenshotTest, APictureOver16MiBIsRefused) {
    constexpr std::size_t kLimit = 16 * 1024 * 1024;
    httplib::Server camera;
    camera.Get(R"(/tmp/capture(\d+)\.jpeg)",
               [&](const httplib::Request& req, httplib::Response& res) {
                   res.set_content(std::string(req.matches[1] == "1" ? kLimit : kLimit + 1, 'x'),
                                   "image/jpeg");
               });
    const int port = camera.bind_to_any_port("127.0.0.1");
    std::thread serving([&] { camera.listen_after_bind(); });
    FleetStore store;
    store.add_camera({"127.0.0.1", port});
    ScreenshotFetcher fetcher(store);
    const auto results = [&] { return store.changes_since(0).cameras[0].state.results; };

    fetcher.request("127.0.0.1", "http://127.0.0.1/tmp/capture1.jpeg");
    EXPECT_TRUE(eventually([&] { return store.screenshot("127.0.0.1") != nullptr; }));
    fetcher.request("127.0.0.1", "http://127.0.0.1/tmp/capture2.jpeg");
    EXPECT_TRUE(eventually([&] { return !results().empty(); }));
    EXPECT_EQ(results().back().message, "cannot download http://127.0.0.1/tmp/capture2.jpeg");
    const auto kept = store.screenshot("127.0.0.1");
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->size(), kLimit);
    fetcher.stop();
    camera.stop();
    serving.join();
}

}  // namespace
}  // namespace osconsole
