#include "network/RestClient.h"

#include <memory>
#include <new>
#include <utility>

#include "json/JSONText.h"
#include "network/RestClientError.h"
#include "support/NoDestructor.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

/// A body that consists of the smallest values takes twenty times its size while it is read.
constexpr std::size_t mostValues = 4'000'000;

ErrorRef made(const RestClientError& error) {
    return std::make_shared<const RestClientError>(error);
}

/// Null for an HTTP response that reports success.
ErrorRef failureOf(const std::optional<URLResponse>& response, const ErrorRef& error) {
    if (error) return error;
    if (!response || !response->statusCode)
        return made(RestClientError::unexpectedResponseFormat());
    const int status = *response->statusCode;
    if (status < 200 || status > 299) return made(RestClientError::unexpectedStatusCode(status));
    return nullptr;
}

}  // namespace

const RestClient& RestClient::shared() {
    static NoDestructor<RestClient> client;
    return *client;
}

void RestClient::dataRequest(URLRequest request, DataCompletion completion) const {
    URLSession::shared().start(
        std::move(request), [completion = std::move(completion)](
                                std::optional<URLResponse> response, const ErrorRef& error) {
            if (auto failure = failureOf(response, error)) {
                completion(std::nullopt, std::move(failure));
            } else if (!response->body) {
                completion(std::nullopt, made(RestClientError::unexpectedBodyFormat()));
            } else {
                completion(std::move(response->body), nullptr);
            }
        });
}

void RestClient::statusRequest(URLRequest request, StatusCompletion completion) const {
    request.discardsBody = true;
    URLSession::shared().start(
        std::move(request), [completion = std::move(completion)](
                                const std::optional<URLResponse>& response, const ErrorRef& error) {
            completion(failureOf(response, error));
        });
}

void RestClient::decodeJSON(const std::optional<std::string>& body, ErrorRef error,
                            const JSONCompletion& completion) const {
    if (error) return completion({}, std::move(error));
    if (!body) return completion({}, made(RestClientError::unexpectedBodyFormat()));
    auto parsed = [&]() -> Result<JSONValue> {
        try {
            return parseJSON(*body, {.values = mostValues});
        } catch (const std::bad_alloc&) {
            // Small texts can need much memory. An answer is not worth the process.
            return outOfMemory("read the answer");
        }
    }();
    if (!parsed.ok()) return completion({}, parsed.error());
    if (!parsed->isObject()) {
        return completion({}, made(RestClientError::invalidJSONFormat()));
    }
    completion(std::move(parsed->object()), nullptr);
}

}  // namespace zentara
