#pragma once

#include <string>
#include <string_view>

#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// {"error": reason} with a status of 4xx or 5xx.
[[nodiscard]] HttpResponse refusal(int status, std::string_view reason);

/// 405 for a path that takes `allowed`, for example "GET, HEAD".
[[nodiscard]] HttpResponse wrongMethod(const HttpRequest& request, const std::string& allowed);

/// Whether `request` is a GET or a HEAD.
[[nodiscard]] bool isReading(const HttpRequest& request);

}  // namespace zentara::collector
