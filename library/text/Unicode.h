#pragma once

#include <string>
#include <string_view>

namespace zentara {

/// Whether `text` is well-formed UTF-8.
[[nodiscard]] bool isValidUTF8(std::string_view text) noexcept;

/// `text` with each maximal ill-formed sequence replaced by U+FFFD.
[[nodiscard]] std::string repairedUTF8(std::string_view text);

}  // namespace zentara
