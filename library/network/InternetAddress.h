#pragma once

#include <string_view>

namespace zentara {

/// Whether `text` as a whole spells an IPv6 address, as the operating system reads them.
[[nodiscard]] bool isIPv6Address(std::string_view text) noexcept;

/// Whether `host` is "localhost" or an address of the loopback interface, however it is spelled.
[[nodiscard]] bool isLoopbackHost(std::string_view host) noexcept;

}  // namespace zentara
