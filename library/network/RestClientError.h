#pragma once

#include <string>

#include "support/Status.h"

namespace zentara {

/// What the REST client itself finds wrong with an answer.
class RestClientError final : public Error {
  public:
    enum class Case {
        unexpectedStatusCode,      ///< an HTTP status outside 200 to 299
        invalidJSONFormat,         ///< JSON whose top level is not an object
        unexpectedBodyFormat,      ///< no body at all
        unexpectedResponseFormat,  ///< no answer, or one that is not HTTP
    };

    [[nodiscard]] static RestClientError unexpectedStatusCode(int statusCode) {
        return {Case::unexpectedStatusCode, statusCode};
    }
    [[nodiscard]] static RestClientError invalidJSONFormat() { return {Case::invalidJSONFormat}; }
    [[nodiscard]] static RestClientError unexpectedBodyFormat() {
        return {Case::unexpectedBodyFormat};
    }
    [[nodiscard]] static RestClientError unexpectedResponseFormat() {
        return {Case::unexpectedResponseFormat};
    }

    [[nodiscard]] Case kind() const noexcept { return kind_; }
    /// The status of `unexpectedStatusCode`; 0 in the other cases.
    [[nodiscard]] int statusCode() const noexcept { return statusCode_; }
    [[nodiscard]] std::string description() const override;

    friend bool operator==(const RestClientError& one, const RestClientError& other) noexcept {
        return one.kind_ == other.kind_ && one.statusCode_ == other.statusCode_;
    }

  private:
    RestClientError(Case kind, int statusCode = 0) : kind_(kind), statusCode_(statusCode) {}

    Case kind_;
    int statusCode_;
};

}  // namespace zentara
