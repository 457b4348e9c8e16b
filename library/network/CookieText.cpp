#include "network/CookieText.h"

#include "network/HeaderText.h"

namespace zentara {

void appendCookie(std::string& cookies, std::string_view name, std::string_view value) {
    if (!isHeaderName(name) || !isHeaderValue(value)) return;
    if (value.find(';') != std::string_view::npos) return;
    cookies += name;
    cookies += '=';
    cookies += value;
    cookies += ';';
}

}  // namespace zentara
