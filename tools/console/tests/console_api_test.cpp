// The console's HTTP API against a simulated camera, through the handler and
// our client library: refused requests answer 4xx with a reason and reach no
// camera; the access rules hold on loopback and with a token.
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <httplib.h>

#include "host/session.h"
#include "sim/camera_sim.h"
#include "support/eventually.h"
#include "tools/console/access_policy.h"
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

    oscsim::CameraSim camera_;
    FleetStore store_;
    AccessPolicy policy_{"127.0.0.1"};
    FleetOperations operations_{store_, {}, 1 << 20};
    ConsoleServer server_{store_, policy_, &operations_};
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
}

TEST(ConsoleAccessTest, OffLoopbackEveryRequestNeedsTheToken) {
    FleetStore store;
    const AccessPolicy policy("0.0.0.0");
    ConsoleServer server(store, policy);
    const int port = server.start("127.0.0.1", 0);
    ASSERT_GT(port, 0);
    const std::string token = policy.token();
    ASSERT_EQ(token.size(), 32u);
    httplib::Client client("127.0.0.1", port);

    struct Case {
        const char* what;
        httplib::Headers headers;
        int status;
    };
    const Case reads[] = {
        {"no token", {}, 401},
        {"wrong token", {{"X-Console-Token", std::string(32, '0')}}, 401},
        {"token header", {{"X-Console-Token", token}}, 200},
        {"token cookie", {{"Cookie", "theme=dark; console_token=" + token}}, 200},
        {"any host with the token", {{"X-Console-Token", token}, {"Host", "console.test"}}, 200},
    };
    for (const Case& c : reads) {
        const auto answer = client.Get("/api/cameras", c.headers);
        ASSERT_TRUE(answer) << c.what;
        EXPECT_EQ(answer->status, c.status) << c.what;
    }

    // The printed address hands the token over as a cookie and drops it from the URL.
    const auto page = client.Get(("/?token=" + token).c_str());
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 303);
    EXPECT_EQ(page->get_header_value("Location"), "/");
    EXPECT_NE(page->get_header_value("Set-Cookie").find("console_token=" + token),
              std::string::npos);

    const auto foreign = client.Post("/api/cameras/127.0.0.1/actions/reboot",
                                     {{"X-Console-Token", token}, {"Origin", "http://evil.test"}},
                                     "{}", "application/json");
    ASSERT_TRUE(foreign);
    EXPECT_EQ(foreign->status, 403);
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
