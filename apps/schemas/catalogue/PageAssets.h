#pragma once

#include <span>
#include <string_view>

namespace zentara::schemas {

/// A file of the catalogue's page, part of the program.
struct PageAsset {
    std::string_view path;  ///< "/" for the page, "/event.html"
    std::string_view contentType;
    std::string_view body;
};

/// All files of the page. Any thread.
[[nodiscard]] std::span<const PageAsset> pageAssets();

}  // namespace zentara::schemas
