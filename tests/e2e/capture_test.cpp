// A screenshot through the whole chain: the host learns where the picture is,
// and the camera serves it there.
#include <httplib.h>

#include <regex>
#include <thread>

#include "e2e_fixture.h"

namespace e2e {
namespace {

class Capture : public EndToEndTest {};

TEST_F(Capture, ScreenShotReportsAnAddressTheCameraServes) {
    auto& camera = start_camera(21);
    const std::string ip = camera.host();

    TakeScreenShot(ip.c_str(), camera.port());
    const CommandResult result = wait_result(ip, "TakeScreenShot");
    ASSERT_TRUE(result.ok) << result.message;

    // The host is given the address without the port; the camera serves it on
    // its own port.
    std::smatch match;
    const std::regex address("http://" + std::regex_replace(ip, std::regex("\\."), "\\.") +
                             "/tmp/capture(\\d+)\\.jpeg");
    ASSERT_TRUE(std::regex_match(result.message, match, address)) << result.message;

    httplib::Client http(ip, camera.port());
    http.set_connection_timeout(2);
    const std::string path = "/tmp/capture" + match[1].str() + ".jpeg";
    httplib::Result picture = http.Get(path);
    ASSERT_TRUE(picture) << "no answer for " << path;
    EXPECT_EQ(picture->status, 200);
    EXPECT_EQ(picture->get_header_value("Content-Type"), "image/jpeg");
    ASSERT_GE(picture->body.size(), 4u);
    EXPECT_EQ(picture->body.substr(0, 2), "\xFF\xD8");  // JPEG start marker
}

}  // namespace
}  // namespace e2e
