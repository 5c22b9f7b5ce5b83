#include <gtest/gtest.h>

#include "tools/oscctl/output.h"
#include "tools/oscctl/progress_bar.h"

namespace {

TEST(FormatTable, PadsColumnsToTheWidestCell) {
    EXPECT_EQ(oscctl::format_table({{"a", "bb"}, {"ccc", "d"}}), "a    bb\nccc  d\n");
}

// White balance is in kelvin; a control the document leaves out shows dashes.
TEST(SettingsRows, ShowsMinMaxCurrentAndUnit) {
    const nlohmann::json params = {{"brightness_min", 0},
                                   {"brightness_max", 100},
                                   {"brightness_current", 40},
                                   {"awb_current", 5000}};
    const auto rows = oscctl::settings_rows(params);
    ASSERT_GE(rows.size(), 6u);
    EXPECT_EQ(rows[0], (oscctl::Row{"setting", "min", "max", "current", "unit"}));
    EXPECT_EQ(rows[1], (oscctl::Row{"brightness", "0", "100", "40", ""}));
    EXPECT_EQ(rows[2], (oscctl::Row{"contrast", "-", "-", "-", ""}));
    EXPECT_EQ(rows[5], (oscctl::Row{"awb", "-", "-", "5000", "K"}));
}

TEST(ProgressBar, FitsTheTerminalWidth) {
    const std::string bar = oscctl::ProgressBar::render(50, "writing the image", 2, 60);
    EXPECT_EQ(bar.rfind("\r[###############...............]  50%    2.0s writing the", 0), 0u);
    EXPECT_EQ(bar.size(), 1u + 59u);
    EXPECT_NE(oscctl::ProgressBar::render(250, "", 0, 80).find("100%"), std::string::npos);
}

}  // namespace
