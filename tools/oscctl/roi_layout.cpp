#include "tools/oscctl/roi_layout.h"

#include <fmt/format.h>

namespace oscctl {

namespace {

using nlohmann::json;

// An integer member `key` of `object`, within min..max.
std::optional<std::string> integer_error(const json& object, const std::string& path,
                                         const char* key, long long min, long long max) {
    const auto it = object.find(key);
    const std::string name = path + key;
    if (it == object.end()) return name + " is missing";
    if (!it->is_number_integer())
        return fmt::format("{} must be an integer, not {}", name, it->dump());
    const auto value = it->get<long long>();
    if (value < min || value > max)
        return fmt::format("{} is {}; allowed {}..{}", name, value, min, max);
    return std::nullopt;
}

// A region's position and size along one axis of a picture `extent` wide.
std::optional<std::string> span_error(const json& region, const std::string& path,
                                      const char* position, const char* size, int extent,
                                      const char* picture) {
    if (auto error = integer_error(region, path, position, 0, extent - 1)) return error;
    const long long start = region[position].get<long long>();
    if (auto error = integer_error(region, path, size, 1, extent - start)) {
        return fmt::format("{} (the {} is {} wide from {} {})", *error, picture, extent, position,
                           start);
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> roi_layout_error(const json& layout) {
    if (!layout.is_object()) return "the layout must be a JSON object";
    for (const char* key : {"srcWidth", "srcHeight", "dstWidth", "dstHeight"})
        if (auto error = integer_error(layout, "", key, 1, 65535)) return error;
    if (auto error = integer_error(layout, "", "roiNum", 1, kMaxRegions)) return error;
    const auto regions = layout.find("roiParam");
    if (regions == layout.end() || !regions->is_array()) return "roiParam must be an array";
    const auto count = layout["roiNum"].get<std::size_t>();
    if (regions->size() != count)
        return fmt::format("roiNum is {} but roiParam holds {} regions", count, regions->size());
    const int src_width = layout["srcWidth"], src_height = layout["srcHeight"];
    const int dst_width = layout["dstWidth"], dst_height = layout["dstHeight"];
    for (std::size_t i = 0; i < regions->size(); ++i) {
        const json& region = (*regions)[i];
        const std::string path = fmt::format("roiParam[{}].", i);
        if (!region.is_object()) return path.substr(0, path.size() - 1) + " must be an object";
        for (auto error : {span_error(region, path, "srcX", "srcW", src_width, "source picture"),
                           span_error(region, path, "srcY", "srcH", src_height, "source picture"),
                           span_error(region, path, "dstX", "dstW", dst_width, "output picture"),
                           span_error(region, path, "dstY", "dstH", dst_height, "output picture"),
                           integer_error(region, path, "projection", 0, 255)}) {
            if (error) return error;
        }
    }
    return std::nullopt;
}

}  // namespace oscctl
