#pragma once

#include <string>
#include <string_view>

namespace zentara {

/// Appends "name=value;" to `cookies`, the text of a Cookie header. A cookie that a server could
/// read as another one, or as the beginning of another header, is left out, as browsers do: a name
/// that separates, a value with a semicolon or a control character. Every other value goes as it
/// is, since there is no escape that all servers would undo.
void appendCookie(std::string& cookies, std::string_view name, std::string_view value);

}  // namespace zentara
