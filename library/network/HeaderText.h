#pragma once

#include <string_view>

namespace zentara {

/// Whether `text` can be the name of a header field, a cookie or a method: not empty, and letters,
/// digits and the few signs that separate nothing.
[[nodiscard]] bool isHeaderName(std::string_view text) noexcept;

/// Whether `text` can be the value of a header field: no control characters but tabs. Anything else
/// could end the line and forge another one, or have the server refuse the whole request.
[[nodiscard]] bool isHeaderValue(std::string_view text) noexcept;

}  // namespace zentara
