#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <zentara/ClientSettings.h>
#include <zentara/URL.h>
#include "json/JSONValue.h"
#include "network/URLSession.h"
#include "support/ClientSettingsAccess.h"
#include "support/Status.h"

namespace zentara {

/// A failure of the REST client itself.
class RestClientError final : public Error {
  public:
    enum class Case {
        unexpectedStatusCode,      ///< an HTTP status outside 200 to 299
        invalidJSONFormat,         ///< JSON whose top level is not an object
        unexpectedBodyFormat,      ///< no body at all
        unexpectedResponseFormat,  ///< no answer, or one that is not HTTP
    };

    explicit RestClientError(Case kind, int statusCode = 0,
                             std::optional<std::chrono::seconds> retryAfter = std::nullopt)
        : kind_(kind), statusCode_(statusCode), retryAfter_(retryAfter) {}

    [[nodiscard]] Case kind() const noexcept { return kind_; }
    /// The status of `unexpectedStatusCode`; 0 in the other cases.
    [[nodiscard]] int statusCode() const noexcept { return statusCode_; }
    /// How long the server asks to wait before the next request.
    [[nodiscard]] std::optional<std::chrono::seconds> retryAfter() const noexcept {
        return retryAfter_;
    }
    [[nodiscard]] std::string description() const override;

    friend bool operator==(const RestClientError& one, const RestClientError& other) noexcept {
        return one.kind_ == other.kind_ && one.statusCode_ == other.statusCode_;
    }

  private:
    Case kind_;
    int statusCode_;
    std::optional<std::chrono::seconds> retryAfter_;
};

/// Runs requests on a URL session and judges the answers. Copies are the same client; safe for use
/// from any thread. Completions run where those of the session run.
///
/// Errors of the network and of the JSON parser (`PlatformError`) are passed on as they come; the
/// client's own are `RestClientError`. A request that fails is reported once and not repeated.
class RestClient {
  public:
    using DataCompletion = std::function<void(Result<std::string> body)>;
    using StatusCompletion = std::function<void(const Status&)>;

    /// `session` must outlive the client and its requests.
    explicit RestClient(URLSession& session) : session_(&session) {}

    /// Starts `request` and reports the body of a 2xx answer.
    void dataRequest(URLRequest request, DataCompletion completion) const;

    /// Starts `request`; a 2xx answer is a success, with or without a body.
    void statusRequest(URLRequest request, StatusCompletion completion) const;

    /// Whether requests are made at all. They fail while the session is closed.
    [[nodiscard]] bool isOpen() const { return session_->isOpen(); }
    /// For `URLRequest::closings`.
    [[nodiscard]] std::uint64_t closings() const { return session_->closings(); }

    /// The object in the body that `dataRequest` reported.
    [[nodiscard]] static Result<JSONObject> decodeJSON(const Result<std::string>& body);

  private:
    URLSession* session_;
};

/// `status` with the host of `url` in its text: the REST client's own errors and those of the JSON
/// parser do not name it. Success stays success, and errors that name the host already stay as they
/// are. Nothing of `url` but the host gets into the text.
[[nodiscard]] Status withHost(const URL& url, const Status& status);

/// A service that the library talks to, as a component reaches it.
struct RemoteService {
    SettingsSource settings;
    /// Where the service of an environment is, at the moment of use.
    std::function<URL(ZentaraEnvironment)> baseURL;
    RestClient client;
};

}  // namespace zentara
