#include "network/RestClient.h"

#include <memory>
#include <new>
#include <utility>

#include "json/JSONText.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

/// While it is read, a body of the smallest values takes twenty times its size.
constexpr std::size_t mostValues = 4'000'000;

using Case = RestClientError::Case;

Status failure(Case kind) {
    return std::make_shared<RestClientError>(kind);
}

/// Ok for an HTTP response that reports success.
Status judge(const Result<URLResponse>& response) {
    if (!response.ok()) return response.status();
    if (!response->statusCode) return failure(Case::unexpectedResponseFormat);
    const int status = *response->statusCode;
    if (status >= 200 && status <= 299) return {};
    return std::make_shared<RestClientError>(Case::unexpectedStatusCode, status,
                                             response->retryAfter);
}

}  // namespace

std::string RestClientError::description() const {
    switch (kind_) {
        case Case::unexpectedStatusCode:
            return "unexpected HTTP status " + std::to_string(statusCode_);
        case Case::invalidJSONFormat:
            return "the body is not a JSON object";
        case Case::unexpectedBodyFormat:
            return "the response has no body";
        case Case::unexpectedResponseFormat:
            return "the answer is not an HTTP response";
    }
    return {};
}

void RestClient::dataRequest(URLRequest request, DataCompletion completion) const {
    session_->start(std::move(request),
                    [completion = std::move(completion)](Result<URLResponse> response) {
                        if (auto status = judge(response); !status.ok()) {
                            completion(std::move(status));
                        } else if (!response->body) {
                            completion(failure(Case::unexpectedBodyFormat));
                        } else {
                            completion(*std::move(response->body));
                        }
                    });
}

void RestClient::statusRequest(URLRequest request, StatusCompletion completion) const {
    request.discardsBody = true;
    session_->start(std::move(request),
                    [completion = std::move(completion)](const Result<URLResponse>& response) {
                        completion(judge(response));
                    });
}

Result<JSONObject> RestClient::decodeJSON(const Result<std::string>& body) {
    if (!body.ok()) return body.status();
    auto parsed = [&]() -> Result<JSONValue> {
        try {
            return parseJSON(*body, {.values = mostValues});
        } catch (const std::bad_alloc&) {
            // Small texts can need much memory. An answer must not end the process.
            return outOfMemory("read the answer");
        }
    }();
    if (!parsed.ok()) return parsed.status();
    if (!parsed->isObject()) return failure(Case::invalidJSONFormat);
    return std::move(parsed->object());
}

Status withHost(const URL& url, const Status& status) {
    if (status.ok()) return status;
    const auto& error = *status.error();
    const auto* network = dynamic_cast<const PlatformError*>(&error);
    if (network != nullptr && network->domain() == PlatformError::Domain::network) return status;
    return plainError("request to '" + url.host() + "' failed: " + error.description());
}

}  // namespace zentara
