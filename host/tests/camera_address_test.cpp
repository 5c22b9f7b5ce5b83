// One parser for every camera list: oscctl's and the console's arguments, the
// handler's device list and the client library's OSC_STATIC_CAMERAS.
#include <gtest/gtest.h>

#include "host/camera_address.h"

namespace {

TEST(CameraList, AddressesWithTheDefaultPortAndEverySkippedEntrySaysWhy) {
    const auto list = oschost::parse_camera_list(
        " 127.0.0.1:9000, 127.0.0.2 ,,x:y,:80,127.0.0.3:99999,127.0.0.4:,camera.test:80");
    const std::vector<oschost::CameraAddress> cameras{{"127.0.0.1", 9000}, {"127.0.0.2", 8080}};
    EXPECT_EQ(list.cameras, cameras);
    const std::vector<std::pair<std::string, std::string>> skipped{
        {"x:y", "bad port in camera address x:y"},
        {":80", "empty camera address"},
        {"127.0.0.3:99999", "bad port in camera address 127.0.0.3:99999"},
        {"127.0.0.4:", "bad port in camera address 127.0.0.4:"},
        {"camera.test:80", "camera.test is not an IPv4 address"}};
    EXPECT_EQ(list.skipped, skipped);
    EXPECT_EQ(oschost::parse_camera_list("127.0.0.5:81;", ';').cameras[0].text(), "127.0.0.5:81");
    EXPECT_THROW(oschost::parse_camera_address("127.0.0.1:0"), std::invalid_argument);
}

}  // namespace
