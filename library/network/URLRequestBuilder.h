#pragma once

#include <optional>
#include <string>

#include <zentara/URL.h>
#include "network/HeaderFields.h"
#include "platform/JSONValue.h"
#include "platform/URLSession.h"

namespace zentara {

/// A mutable description of one request.
class URLRequestBuilder {
  public:
    explicit URLRequestBuilder(URL requestURL) : url(std::move(requestURL)) {}

    /// The request as described, with a time-out of 60 seconds.
    ///
    /// Cookies become one text, "a=1;b=2;" in their order, that goes before what `headers` holds
    /// under "Cookie" and is kept there: building twice sends the cookies twice. A cookie or header
    /// that holds a line break or a NUL is left out, as it could forge another header.
    [[nodiscard]] URLRequest build();

    URL url;
    std::string method = "GET";
    HeaderFields headers;
    std::optional<std::string> body;
    /// Values of any kind; each is sent as its plain text.
    JSONObject cookies;
};

}  // namespace zentara
