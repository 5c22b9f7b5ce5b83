#include "tools/oscctl/roi_svg.h"

#include <algorithm>

#include <fmt/format.h>

namespace oscctl {

namespace {

constexpr double kPanelWidth = 640.0;  // both pictures are scaled to this width
constexpr double kMargin = 20.0;
constexpr double kTitleHeight = 24.0;

// Distinct outline colours; regions beyond the palette reuse it.
constexpr const char* kColours[] = {"#e6194b", "#3cb44b", "#4363d8", "#f58231", "#911eb4",
                                    "#42d4f4", "#f032e6", "#9a6324", "#800000", "#469990"};

int member(const nlohmann::json& object, const char* key) {
    auto it = object.find(key);
    return it != object.end() && it->is_number() ? it->get<int>() : 0;
}

struct Panel {
    double x;
    double y;
    double scale;
    double width;
    double height;
};

Panel make_panel(double x, int width, int height) {
    const double scale = width > 0 ? kPanelWidth / width : 1.0;
    return {x, kMargin + kTitleHeight, scale, kPanelWidth, std::max(height, 1) * scale};
}

std::string draw_panel(const Panel& panel, const std::string& title, int width, int height) {
    return fmt::format(
        "  <text x=\"{:.1f}\" y=\"{:.1f}\" font-size=\"14\">{} {}x{}</text>\n"
        "  <rect class=\"frame\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" "
        "fill=\"#f4f4f4\" stroke=\"#000\"/>\n",
        panel.x, panel.y - 8, title, width, height, panel.x, panel.y, panel.width, panel.height);
}

std::string draw_region(const Panel& panel, int number, int x, int y, int w, int h,
                        const char* colour) {
    const double left = panel.x + x * panel.scale;
    const double top = panel.y + y * panel.scale;
    return fmt::format(
        "  <rect class=\"roi\" data-roi=\"{}\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" "
        "height=\"{:.1f}\" fill=\"none\" stroke=\"{}\" stroke-width=\"2\"/>\n"
        "  <text x=\"{:.1f}\" y=\"{:.1f}\" font-size=\"14\" fill=\"{}\">{}</text>\n",
        number, left, top, w * panel.scale, h * panel.scale, colour, left + 4, top + 16, colour,
        number);
}

}  // namespace

std::string render_roi_svg(const nlohmann::json& layout) {
    const int src_width = member(layout, "srcWidth");
    const int src_height = member(layout, "srcHeight");
    const int dst_width = member(layout, "dstWidth");
    const int dst_height = member(layout, "dstHeight");
    const Panel source = make_panel(kMargin, src_width, src_height);
    const Panel output = make_panel(2 * kMargin + kPanelWidth, dst_width, dst_height);

    std::string body = draw_panel(source, "source", src_width, src_height);
    body += draw_panel(output, "output", dst_width, dst_height);
    const auto regions = layout.value("roiParam", nlohmann::json::array());
    int number = 0;
    for (const auto& region : regions) {
        ++number;
        const char* colour = kColours[(number - 1) % std::size(kColours)];
        body += draw_region(source, number, member(region, "srcX"), member(region, "srcY"),
                            member(region, "srcW"), member(region, "srcH"), colour);
        body += draw_region(output, number, member(region, "dstX"), member(region, "dstY"),
                            member(region, "dstW"), member(region, "dstH"), colour);
    }
    const double width = 3 * kMargin + 2 * kPanelWidth;
    const double height = kMargin * 2 + kTitleHeight + std::max(source.height, output.height);
    return fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{:.0f}\" height=\"{:.0f}\" "
        "viewBox=\"0 0 {:.0f} {:.0f}\">\n{}</svg>\n",
        width, height, width, height, body);
}

}  // namespace oscctl
