#pragma once

#include <map>
#include <optional>
#include <string>
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

}  // namespace zentara
