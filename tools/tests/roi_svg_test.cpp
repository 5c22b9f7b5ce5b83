#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/oscctl/roi_svg.h"

namespace {

struct Rect {
    std::string cls;
    int roi;
    double x, y, w, h;
};

std::vector<Rect> rects(const std::string& svg) {
    std::vector<Rect> found;
    const std::regex rect(
        R"re(<rect class="(\w+)"(?: data-roi="(\d+)")? x="([\d.]+)" y="([\d.]+)" width="([\d.]+)" height="([\d.]+)")re");
    for (auto it = std::sregex_iterator(svg.begin(), svg.end(), rect); it != std::sregex_iterator();
         ++it) {
        const auto& m = *it;
        found.push_back({m[1], m[2].matched ? std::stoi(m[2]) : 0, std::stod(m[3]), std::stod(m[4]),
                         std::stod(m[5]), std::stod(m[6])});
    }
    return found;
}

// 3840x1920 source and 1920x1080 output; both panels are 640 wide, so the
// source scale is 1/6 and the output scale 1/3.
const auto kLayout = nlohmann::json::parse(R"({
    "srcWidth": 3840, "srcHeight": 1920, "dstWidth": 1920, "dstHeight": 1080, "roiNum": 2,
    "roiParam": [
      {"srcX": 0, "srcY": 0, "srcW": 1920, "srcH": 960,
       "dstX": 0, "dstY": 0, "dstW": 960, "dstH": 540, "projection": 0},
      {"srcX": 1920, "srcY": 960, "srcW": 1920, "srcH": 960,
       "dstX": 960, "dstY": 540, "dstW": 960, "dstH": 540, "projection": 1}]})");

// Both frames, then every region twice, scaled into its panel with its number.
TEST(RoiSvg, RegionsAreScaledIntoTheirPanelsWithTheSameNumber) {
    const auto found = rects(oscctl::render_roi_svg(kLayout));
    ASSERT_EQ(found.size(), 2u + 2u * 2u);
    const Rect& source_frame = found[0];
    const Rect& output_frame = found[1];
    EXPECT_EQ(source_frame.cls + output_frame.cls, "frameframe");
    EXPECT_DOUBLE_EQ(source_frame.w, 640.0);
    EXPECT_DOUBLE_EQ(source_frame.h, 320.0);  // 1920 / 6
    EXPECT_DOUBLE_EQ(output_frame.h, 360.0);  // 1080 / 3
    struct Expected {
        std::size_t index;
        int roi;
        const Rect* frame;
        double x, y, w, h;
    };
    const Expected table[] = {
        {2, 1, &source_frame, 0, 0, 320, 160},
        {3, 1, &output_frame, 0, 0, 320, 180},
        {4, 2, &source_frame, 320, 160, 320, 160},
        {5, 2, &output_frame, 320, 180, 320, 180},
    };
    for (const Expected& e : table) {
        const Rect& r = found[e.index];
        SCOPED_TRACE(e.index);
        EXPECT_EQ(r.cls, "roi");
        EXPECT_EQ(r.roi, e.roi);
        EXPECT_NEAR(r.x - e.frame->x, e.x, 0.1);
        EXPECT_NEAR(r.y - e.frame->y, e.y, 0.1);
        EXPECT_NEAR(r.w, e.w, 0.1);
        EXPECT_NEAR(r.h, e.h, 0.1);
    }
}

TEST(RoiSvg, EmptyLayoutStillDrawsTheFrames) {
    const std::string svg = oscctl::render_roi_svg(nlohmann::json::object());
    EXPECT_EQ(rects(svg).size(), 2u);
    EXPECT_NE(svg.find("</svg>"), std::string::npos);
}

}  // namespace
