#include <stdexcept>

#include <gtest/gtest.h>

#include "tools/oscctl/camera_address.h"

namespace {

TEST(CameraAddress, PortDefaultsTo8080AndMustBeValid) {
    EXPECT_EQ(oscctl::parse_camera_address("127.0.0.2").text(), "127.0.0.2:8080");
    EXPECT_EQ(oscctl::parse_camera_address("127.0.0.1:9000").text(), "127.0.0.1:9000");
    for (const char* text : {"127.0.0.1:", "127.0.0.1:x", "127.0.0.1:70000", ":80"}) {
        SCOPED_TRACE(text);
        EXPECT_THROW(oscctl::parse_camera_address(text), std::invalid_argument);
    }
}

}  // namespace
