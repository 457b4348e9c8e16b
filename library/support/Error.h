#pragma once

#include <memory>
#include <string>

namespace zentara {

/// Base of every failure that travels inside the library. Failures are values to look at, never
/// thrown; which kind one is, `dynamic_cast` tells.
class Error {
  public:
    virtual ~Error() = default;

    /// One line for people.
    [[nodiscard]] virtual std::string description() const = 0;

  protected:
    Error() = default;
    Error(const Error&) = default;
    Error& operator=(const Error&) = default;
};

/// A failure, or null for success. Errors are immutable and may be kept.
using ErrorRef = std::shared_ptr<const Error>;

}  // namespace zentara
