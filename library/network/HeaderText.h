#pragma once

#include <string>
#include <string_view>

namespace zentara {

/// Whether `text` can be the name of a header field, a cookie or a method: not empty, and letters,
/// digits and the few signs that separate nothing.
[[nodiscard]] bool isHeaderName(std::string_view text) noexcept;

/// Whether `text` can be the value of a header field: no control characters but tabs. Anything else
/// could end the line and forge another one, or have the server refuse the whole request.
[[nodiscard]] bool isHeaderValue(std::string_view text) noexcept;

/// Appends "name=value;" to `cookies`, the text of a Cookie header. A cookie that a server could
/// read as another one, or as the beginning of another header, is left out, as browsers do: a name
/// that separates, a value with a semicolon or a control character. Every other value goes as it
/// is, since there is no escape that all servers would undo.
void appendCookie(std::string& cookies, std::string_view name, std::string_view value);

}  // namespace zentara
