#pragma once

#include <functional>
#include <optional>
#include <string>

#include "json/JSONValue.h"
#include "network/URLSession.h"
#include "support/NoDestructor.h"
#include "support/Status.h"

namespace zentara {

/// Runs requests on the shared URL session and judges the answers. Holds no state; safe for use
/// from any thread. Completions of requests run on the session's own queue, one after the other.
///
/// Errors of the network and of the JSON parser (`PlatformError`) are passed on as they come; the
/// client's own are `RestClientError`. A request that fails is reported once and not repeated.
class RestClient {
  public:
    using DataCompletion = std::function<void(std::optional<std::string> body, ErrorRef error)>;
    using StatusCompletion = std::function<void(ErrorRef error)>;
    using JSONCompletion = std::function<void(JSONObject object, ErrorRef error)>;

    [[nodiscard]] static const RestClient& shared();

    RestClient(const RestClient&) = delete;
    RestClient& operator=(const RestClient&) = delete;

    /// Starts `request`. The body of a 2xx answer and no error, or no body and the error.
    void dataRequest(URLRequest request, DataCompletion completion) const;

    /// Starts `request`. No error for a 2xx answer, with or without a body.
    void statusRequest(URLRequest request, StatusCompletion completion) const;

    /// Takes what `dataRequest` delivers and calls `completion` before it returns: the decoded
    /// object and no error, or an empty object and the error.
    void decodeJSON(const std::optional<std::string>& body, ErrorRef error,
                    const JSONCompletion& completion) const;

  private:
    friend class NoDestructor<RestClient>;
    RestClient() = default;
};

}  // namespace zentara
