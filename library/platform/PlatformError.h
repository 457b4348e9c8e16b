#pragma once

#include <string>
#include <utility>

#include "support/Error.h"

namespace zentara {

/// A failure of the platform below the library: a file operation, the network, a JSON text.
class PlatformError final : public Error {
  public:
    enum class Domain { file, network, json };

    PlatformError(Domain domain, int code, std::string message)
        : domain_(domain), code_(code), message_(std::move(message)) {}

    [[nodiscard]] Domain domain() const noexcept { return domain_; }
    /// `errno` for files, the HTTP stack's or the parser's own code otherwise.
    [[nodiscard]] int code() const noexcept { return code_; }
    [[nodiscard]] std::string description() const override { return message_; }

  private:
    Domain domain_;
    int code_;
    std::string message_;
};

}  // namespace zentara
