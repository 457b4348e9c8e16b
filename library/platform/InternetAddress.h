#pragma once

#include <string_view>

namespace zentara {

/// Whether `text` as a whole spells an IPv6 address, as the operating system reads them.
[[nodiscard]] bool isIPv6Address(std::string_view text) noexcept;

}  // namespace zentara
