// The simulator's HTTP surface as any OSC client meets it: every request it
// refuses, whatever its method, path or body, answers with the OSC error
// document naming the command; the state's fingerprint follows the state; the
// picture a capture leaves is the recorded test pattern.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <httplib.h>
#include <turbojpeg.h>

#include "sim/camera_sim.h"
#include "support/json_members.h"

namespace {

using nlohmann::json;
using osctest::has_members;

const char* const kExecute = "/osc/commands/execute";
const char* const kRun = "POST /osc/commands/execute";
const char* const kStatus = "POST /osc/commands/status";
const char* const kState = "POST /osc/state";
const char* const kUpdates = "POST /osc/checkForUpdates";
// The names of error documents of requests that are not commands.
const char* const kRunDoc = "camera.commands.execute";
const char* const kStatusDoc = "camera.commands.status";
const char* const kUpdatesDoc = "camera.checkForUpdates";

// A request and what the camera answers: an error document (status 400)
// with its name and code, or, without a name, a normal answer.
struct Exchange {
    const char* request;  // "METHOD /path"
    json body;            // sent as its text, a string as it is; null: no body, no length
    const char* name;
    const char* code;
    void (*before)(oscsim::CameraState&) = nullptr;
};

json execute(const char* name, json parameters = json::object()) {
    return {{"name", name}, {"parameters", std::move(parameters)}};
}

json options(json names) {
    return execute("camera.getOptions", {{"optionNames", std::move(names)}});
}

json set(json values) {
    return execute("camera.setOptions", {{"options", std::move(values)}});
}

void updating(oscsim::CameraState& s) {
    s.updating = true;
}

void one_capture(oscsim::CameraState& s) {
    s.captures["1"] = {{}, "camera.startCapture"};
}

// The whole answer to one request sent byte for byte on its own connection.
std::string exchange(int port, const Exchange& e) {
    const std::string body = e.body.is_string() ? e.body.get<std::string>() : e.body.dump();
    std::string text = std::string(e.request) + " HTTP/1.1\r\nConnection: close\r\n";
    if (!e.body.is_null()) text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    text += "\r\n" + (e.body.is_null() ? "" : body);
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string answer;
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        send(fd, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size())) {
        char buffer[4096];
        for (ssize_t n; (n = recv(fd, buffer, sizeof buffer, 0)) > 0;) answer.append(buffer, n);
    }
    close(fd);
    return answer;
}

// Each request is recorded once and changes nothing; no answer carries
// library text.
TEST(SimHttpSurface, EveryRefusalIsAnOscErrorDocument) {
    const Exchange table[] = {
        {kRun, execute("camera.frobnicate"), "camera.frobnicate", "unknownCommand"},
        {kRun, "{\"name\":", kRunDoc, "invalidParameterValue"},
        {kRun, nullptr, kRunDoc, "missingParameter"},
        {kRun, execute("camera._reboot", 1), "camera._reboot", "invalidParameterValue"},
        {kRun, execute("camera.getOptions"), "camera.getOptions", "missingParameter"},
        {kRun, options({7}), "camera.getOptions", "invalidParameterValue"},
        {kRun, options({"_brightness", "_nope"}), "camera.getOptions", "invalidParameterName"},
        {kRun, execute("camera.setOptions"), "camera.setOptions", "missingParameter"},
        {kRun, set({{"_contrast", 10}, {"_nope", 1}}), "camera.setOptions", "invalidParameterName"},
        {kRun, execute("camera._reboot"), "camera._reboot", "disabledCommand", updating},
        {kRun, execute("camera._update", {{"target", "1220"}}), "camera._update", "disabledCommand",
         updating},
        {kRun, execute("camera._update", {{"target", 1220}}), "camera._update",
         "invalidParameterValue"},
        {kRun, execute("camera._getLivePreview", {{"action", "pause"}}), "camera._getLivePreview",
         "invalidParameterValue"},
        {kRun, execute("camera._cmdLine", {{"func", "Frobnicate"}}), "camera._cmdLine",
         "invalidParameterValue"},
        {"GET /osc/commands/execute", nullptr, "/osc/commands/execute", "unknownCommand"},
        {kStatus, {{"id", "77"}}, kStatusDoc, "invalidParameterValue"},
        {kStatus, {{"id", 1}}, nullptr, nullptr, one_capture},
        {kStatus, json::object(), kStatusDoc, "missingParameter"},
        {kStatus, "{", kStatusDoc, "invalidParameterValue"},
        {"GET /osc/state", nullptr, "/osc/state", "unknownCommand"},
        {kState, nullptr, nullptr, nullptr},
        {kState, "[", "camera.state", "invalidParameterValue"},
        {kUpdates, json::object(), kUpdatesDoc, "missingParameter"},
        {kUpdates, "nope", kUpdatesDoc, "invalidParameterValue"},
        {"POST /osc/info", "{", "/osc/info", "unknownCommand"},
        {"GET /tmp/capture77.jpeg", nullptr, "/tmp/capture77.jpeg", "invalidParameterValue"},
        {"GET /live/preview.jpeg", nullptr, "/live/preview.jpeg", "disabledCommand"},
        {"PUT /nope", "{}", "/nope", "unknownCommand"},
        {"FROB /osc/info", nullptr, "", "invalidParameterValue"},
    };
    for (const Exchange& e : table) {
        SCOPED_TRACE(std::string(e.request) + " " + e.body.dump());
        oscsim::CameraSim camera;
        ASSERT_TRUE(camera.start());
        if (e.before) camera.update_state(e.before);
        const json before = camera.snapshot();
        const std::string answer = exchange(camera.port(), e);
        EXPECT_EQ(answer.rfind(e.name ? "HTTP/1.1 400 " : "HTTP/1.1 200 ", 0), 0u) << answer;
        const json doc = json::parse(answer.substr(answer.find("\r\n\r\n") + 4), nullptr, false);
        if (e.name) {
            EXPECT_TRUE(has_members(
                doc, {{"name", e.name}, {"state", "error"}, {"error", {{"code", e.code}}}}));
            EXPECT_TRUE(doc["error"]["message"].is_string()) << answer;
        }
        EXPECT_EQ(answer.find("EXCEPTION_WHAT"), std::string::npos);
        EXPECT_EQ(camera.snapshot(), before);
        EXPECT_EQ(camera.requests().size(), 1u);
    }
}

// /osc/checkForUpdates, listed in /osc/info, hands out the fingerprint
// /osc/state has, and a new one once the state changed.
TEST(SimHttpSurface, TheFingerprintFollowsTheState) {
    oscsim::CameraSim camera;
    ASSERT_TRUE(camera.start());
    httplib::Client http(camera.host(), camera.port());
    auto post = [&](const char* path, const json& body) {
        const auto result = http.Post(path, body.dump(), "application/json");
        return result ? json::parse(result->body, nullptr, false) : json();
    };
    auto latest = [&] { return post("/osc/checkForUpdates", {{"stateFingerprint", ""}}); };
    const auto info = http.Get("/osc/info");
    ASSERT_TRUE(info);
    const json api = json::parse(info->body)["api"];
    EXPECT_EQ(std::count(api.begin(), api.end(), "/osc/checkForUpdates"), 1);
    const json first = latest();
    EXPECT_EQ(first["throttleTimeout"], 1);
    EXPECT_EQ(first["stateFingerprint"], post("/osc/state", json::object())["fingerprint"]);
    post(kExecute, execute("camera._getLivePreview"));
    EXPECT_NE(latest()["stateFingerprint"], first["stateFingerprint"]);
}

// Grey level means of 8x8 blocks, as the decoder's one-eighth scale gives
// them: small enough to keep beside the test, coarse enough that another
// libjpeg-turbo's rounding does not matter.
std::string block_means(const std::string& jpeg) {
    const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
    int width = 0, height = 0, subsampling = 0, colourspace = 0;
    auto* data = reinterpret_cast<const unsigned char*>(jpeg.data());
    if (tjDecompressHeader3(decoder.get(), data, jpeg.size(), &width, &height, &subsampling,
                            &colourspace) != 0)
        return "";
    width /= 8;
    height /= 8;
    std::string grey(static_cast<std::size_t>(width) * height, '\0');
    if (tjDecompress2(decoder.get(), data, jpeg.size(), reinterpret_cast<unsigned char*>(&grey[0]),
                      width, 0, height, TJPF_GRAY, 0) != 0)
        return "";
    return "P5\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n" + grey;
}

// The pattern is there for people to look at; a change to it is a change to
// this recording (OSC_UPDATE_GOLDEN=1 rewrites it), never an accident.
TEST(SimHttpSurface, ACaptureShowsTheRecordedPictureWithTheSettingsApplied) {
    oscsim::CameraSim camera;
    ASSERT_TRUE(camera.start());
    httplib::Client http(camera.host(), camera.port());
    const json settings = set({{"_brightness", 70}, {"_contrast", 35}});
    ASSERT_EQ(http.Post(kExecute, settings.dump(), "application/json")->status, 200);
    const auto started =
        http.Post(kExecute, execute("camera.startCapture").dump(), "application/json");
    ASSERT_TRUE(started);
    const std::string id = json::parse(started->body).value("id", "");
    const auto picture = http.Get("/tmp/capture" + id + ".jpeg");
    ASSERT_TRUE(picture);
    ASSERT_EQ(picture->status, 200);
    const std::string means = block_means(picture->body);
    ASSERT_FALSE(means.empty()) << "not a JPEG";

    if (std::getenv("OSC_UPDATE_GOLDEN")) {
        std::ofstream(SIM_GOLDEN_PICTURE, std::ios::binary) << means;
        GTEST_SKIP() << "recorded " << SIM_GOLDEN_PICTURE;
    }
    std::ifstream file(SIM_GOLDEN_PICTURE, std::ios::binary);
    const std::string golden{std::istreambuf_iterator<char>(file), {}};
    ASSERT_EQ(golden.size(), means.size()) << "picture size changed";
    const std::size_t header = golden.find("255\n") + 4;
    ASSERT_EQ(golden.substr(0, header), means.substr(0, header));
    int differing = 0;
    for (std::size_t i = header; i < golden.size(); ++i)
        differing += std::abs(static_cast<unsigned char>(means[i]) -
                              static_cast<unsigned char>(golden[i])) > 4;
    EXPECT_EQ(differing, 0) << "blocks more than 4 grey levels off";
}

}  // namespace
