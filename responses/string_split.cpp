#include "responses/string_split.h"

namespace responses {

int string_split(const std::string& text, std::vector<std::string>& parts, char separator) {
    parts.clear();
    std::string::size_type start = 0;
    for (auto end = text.find(separator); end != std::string::npos;
         end = text.find(separator, start)) {
        parts.emplace_back(text, start, end - start);
        start = end + 1;
    }
    parts.emplace_back(text, start);
    return static_cast<int>(parts.size());
}

}  // namespace responses
