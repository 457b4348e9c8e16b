#pragma once

#include <cerrno>
#include <memory>
#include <string>
#include <utility>

#include "support/Status.h"

namespace zentara {

/// A failure of the platform below the library, or of nothing but what its text says.
class PlatformError final : public Error {
  public:
    enum class Domain { file, network, none };

    PlatformError(Domain domain, int code, std::string message)
        : domain_(domain), code_(code), message_(std::move(message)) {}

    [[nodiscard]] Domain domain() const noexcept { return domain_; }
    /// `errno` for files, the HTTP stack's own code for the network, 0 otherwise.
    [[nodiscard]] int code() const noexcept { return code_; }
    [[nodiscard]] std::string description() const override { return message_; }

  private:
    Domain domain_;
    int code_;
    std::string message_;
};

/// A failure that has a text and no code.
[[nodiscard]] inline ErrorRef plainError(std::string text) {
    return std::make_shared<PlatformError>(PlatformError::Domain::none, 0, std::move(text));
}

/// The failure of an operation for lack of memory. It says nothing about what was being read.
[[nodiscard]] inline ErrorRef outOfMemory(const std::string& operation) {
    return std::make_shared<PlatformError>(PlatformError::Domain::file, ENOMEM,
                                           "not enough memory to " + operation);
}

/// Whether the process had no memory or no descriptors left, so that the same may succeed later.
[[nodiscard]] inline bool isForTheMoment(const Error& error) {
    const auto* const failure = dynamic_cast<const PlatformError*>(&error);
    if (failure == nullptr || failure->domain() != PlatformError::Domain::file) return false;
    return failure->code() == ENOMEM || failure->code() == EMFILE || failure->code() == ENFILE;
}

}  // namespace zentara
