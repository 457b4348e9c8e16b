#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <zentara/URL.h>
#include "json/JSONValue.h"
#include "network/URLSession.h"

namespace zentara {

/// A mutable description of one request.
class URLRequestBuilder {
  public:
    explicit URLRequestBuilder(URL requestURL) : url(std::move(requestURL)) {}

    /// The request as described, with a time-out of 60 seconds.
    ///
    /// Cookies become one text, "a=1;b=2;" in their order, that goes before what `headers` holds
    /// under "Cookie" and is kept there: building twice sends the cookies twice. What could forge
    /// another cookie or header is left out.
    [[nodiscard]] URLRequest build();

    URL url;
    std::string method = "GET";
    /// Names that differ in case are different names.
    std::map<std::string, std::string> headers;
    std::optional<std::string> body;
    /// Values of any kind; each is sent as its plain text.
    JSONObject cookies;
};

/// Whether `text` can be the name of a header field, a cookie or a method: not empty, and letters,
/// digits and the few signs that separate nothing.
[[nodiscard]] bool isHeaderName(std::string_view text) noexcept;

/// Whether `text` can be the value of a header field: no control characters but tabs. Others could
/// end the line and forge another header, or make the server refuse the request.
[[nodiscard]] bool isHeaderValue(std::string_view text) noexcept;

/// Appends "name=value;" to `cookies`, the text of a Cookie header. Leaves out a cookie that a
/// server could read as another cookie, or as the beginning of another header, as browsers do: a
/// name with a separator, a value with a semicolon or a control character. Every other value is
/// sent unchanged, since no escape is undone by all servers.
void appendCookie(std::string& cookies, std::string_view name, std::string_view value);

}  // namespace zentara
