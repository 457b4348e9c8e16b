#pragma once

#include <span>
#include <string_view>

namespace zentara::collector {

/// A file of the web page, part of the program.
struct PageAsset {
    std::string_view path;  ///< of the request: "/" for the page, "/page.css"
    std::string_view contentType;
    std::string_view body;
};

/// All files of the page. Any thread.
[[nodiscard]] std::span<const PageAsset> pageAssets();

}  // namespace zentara::collector
