// The console's page (HTML, CSS, JavaScript), built into the program.
#pragma once

#include <string_view>

namespace osconsole {

struct PageAsset {
    std::string_view path;  // "/index.html"
    std::string_view content_type;
    std::string_view body;
};

// Nothing when the page has no such file.
const PageAsset* find_page_asset(std::string_view path);

}  // namespace osconsole
