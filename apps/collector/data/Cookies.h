#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zentara::collector {

/// The names and values of a Cookie header, in its order. Blanks around an entry, empty entries and
/// entries without "=" do not count.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> parseCookies(
    std::string_view header);

}  // namespace zentara::collector
