#pragma once

#include <cassert>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace zentara {

/// Base of every failure that travels inside the library. Failures are values to look at, never
/// thrown; `dynamic_cast` tells the kinds apart.
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

/// The cause of a failure. Immutable; may be kept.
using ErrorRef = std::shared_ptr<const Error>;

/// Whether an operation succeeded, and why not.
class [[nodiscard]] Status {
  public:
    /// Success.
    Status() = default;
    /// A failure. A null `error` is success.
    template <typename Cause>
    requires std::is_base_of_v<Error, Cause> Status(std::shared_ptr<Cause> error)
        : error_(std::move(error)) {}

    [[nodiscard]] bool ok() const noexcept { return error_ == nullptr; }
    /// Null when ok.
    [[nodiscard]] const ErrorRef& error() const noexcept { return error_; }

  private:
    ErrorRef error_;
};

/// The value that an operation gave, or why there is none.
template <typename T>
class [[nodiscard]] Result {
  public:
    Result(T value) : value_(std::move(value)) {}
    /// A failure; `status` is not ok.
    Result(Status status) : status_(std::move(status)) { assert(!status_.ok()); }
    /// A failure; `error` is not null.
    template <typename Cause>
    requires std::is_base_of_v<Error, Cause> Result(std::shared_ptr<Cause> error)
        : Result(Status(std::move(error))) {}

    [[nodiscard]] bool ok() const noexcept { return status_.ok(); }
    [[nodiscard]] const Status& status() const noexcept { return status_; }
    /// Null when ok.
    [[nodiscard]] const ErrorRef& error() const noexcept { return status_.error(); }

    // The value of a result that is ok.
    [[nodiscard]] T& operator*() & noexcept { return *value_; }
    [[nodiscard]] const T& operator*() const& noexcept { return *value_; }
    [[nodiscard]] T&& operator*() && noexcept { return *std::move(value_); }
    [[nodiscard]] T* operator->() noexcept { return &*value_; }
    [[nodiscard]] const T* operator->() const noexcept { return &*value_; }

  private:
    Status status_;
    std::optional<T> value_;
};

}  // namespace zentara
