// The simulator's HTTP surface as any OSC client meets it: refused requests
// answer with the OSC error document naming the command, and the picture a
// capture leaves is the recorded test pattern.
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

// A request the camera refuses: the OSC error document it answers with.
struct Refusal {
    const char* what;
    json request;  // sent as its text; a string is sent as it is
    const char* name;
    const char* code;
    bool while_updating = false;
    const char* path = kExecute;
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

// Nothing changes on a refusal, the whole request is refused.
TEST(SimHttpSurface, RefusedRequestsNameTheCommandAndTheErrorCode) {
    const json update = execute("camera._update", {{"target", "1220"}});
    const Refusal table[] = {
        {"unknown command", execute("camera.frobnicate"), "camera.frobnicate", "unknownCommand"},
        {"body not JSON", "{\"name\":", "", "invalidParameterValue"},
        {"option names missing", execute("camera.getOptions"), "camera.getOptions",
         "missingParameter"},
        {"option name not a text", options({7}), "camera.getOptions", "invalidParameterValue"},
        {"unknown option read", options({"_brightness", "_nope"}), "camera.getOptions",
         "invalidParameterName"},
        {"options missing", execute("camera.setOptions"), "camera.setOptions", "missingParameter"},
        {"unknown option set", set({{"_contrast", 10}, {"_nope", 1}}), "camera.setOptions",
         "invalidParameterName"},
        {"value out of range", set({{"_contrast", 10}, {"_brightness", 101}}), "camera.setOptions",
         "invalidParameterValue"},
        {"reboot during an update", execute("camera._reboot"), "camera._reboot", "disabledCommand",
         true},
        {"second update", update, "camera._update", "disabledCommand", true},
        {"update of no module", execute("camera._update", {{"target", "1240"}}), "camera._update",
         "invalidParameterValue"},
        {"preview action unknown", execute("camera._getLivePreview", {{"action", "pause"}}),
         "camera._getLivePreview", "invalidParameterValue"},
        {"command-line function unknown", execute("camera._cmdLine", {{"func", "Frobnicate"}}),
         "camera._cmdLine", "invalidParameterValue"},
        {"status of no capture",
         {{"id", "77"}},
         "camera.startCapture",
         "invalidParameterValue",
         false,
         "/osc/commands/status"},
    };
    for (const Refusal& r : table) {
        SCOPED_TRACE(r.what);
        oscsim::CameraSim camera;
        ASSERT_TRUE(camera.start());
        camera.update_state([&](oscsim::CameraState& s) { s.updating = r.while_updating; });
        const json before = camera.snapshot()["options"];
        httplib::Client http(camera.host(), camera.port());
        const std::string body =
            r.request.is_string() ? r.request.get<std::string>() : r.request.dump();
        const httplib::Result result = http.Post(r.path, body, "application/json");
        ASSERT_TRUE(result);
        EXPECT_EQ(result->status, 400);
        EXPECT_TRUE(
            has_members(json::parse(result->body, nullptr, false),
                        {{"name", r.name}, {"state", "error"}, {"error", {{"code", r.code}}}}))
            << result->body;
        EXPECT_EQ(camera.snapshot()["options"], before);
    }
}

// Grey level means of 8x8 blocks: small enough to keep beside the test,
// coarse enough that another libjpeg-turbo's rounding does not matter.
constexpr int kBlock = 8;

std::string block_means(const std::string& jpeg) {
    const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
    int width = 0, height = 0, subsampling = 0, colourspace = 0;
    auto* data = reinterpret_cast<const unsigned char*>(jpeg.data());
    if (tjDecompressHeader3(decoder.get(), data, jpeg.size(), &width, &height, &subsampling,
                            &colourspace) != 0)
        return "";
    std::vector<unsigned char> grey(static_cast<std::size_t>(width) * height);
    if (tjDecompress2(decoder.get(), data, jpeg.size(), grey.data(), width, 0, height, TJPF_GRAY,
                      0) != 0)
        return "";
    std::string means =
        "P5\n" + std::to_string(width / kBlock) + " " + std::to_string(height / kBlock) + "\n255\n";
    for (int by = 0; by < height / kBlock; ++by)
        for (int bx = 0; bx < width / kBlock; ++bx) {
            int sum = 0;
            for (int y = 0; y < kBlock; ++y)
                for (int x = 0; x < kBlock; ++x)
                    sum +=
                        grey[static_cast<std::size_t>(by * kBlock + y) * width + bx * kBlock + x];
            means.push_back(static_cast<char>(sum / (kBlock * kBlock)));
        }
    return means;
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
    std::string first;
    for (std::size_t i = header; i < golden.size(); ++i) {
        const int delta =
            static_cast<unsigned char>(means[i]) - static_cast<unsigned char>(golden[i]);
        if (std::abs(delta) <= 4) continue;
        if (differing++ == 0) first = "block " + std::to_string(i - header);
    }
    EXPECT_EQ(differing, 0) << "first at " << first;
}

}  // namespace
