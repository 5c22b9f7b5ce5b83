#include <gtest/gtest.h>

#include "tools/oscctl/progress_bar.h"

namespace {

TEST(ProgressBar, FitsTheTerminalWidth) {
    const std::string bar = oscctl::ProgressBar::render(50, "writing the image", 2, 60);
    EXPECT_EQ(bar.rfind("\r[###############...............]  50%    2.0s writing the", 0), 0u);
    EXPECT_EQ(bar.size(), 1u + 59u);
    EXPECT_NE(oscctl::ProgressBar::render(250, "", 0, 80).find("100%"), std::string::npos);
}

}  // namespace
