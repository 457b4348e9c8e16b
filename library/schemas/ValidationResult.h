#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zentara {

/// The outcome of a validation: valid, or invalid with its messages in the order in which they were
/// produced. Invalid with no message at all is still not valid.
class [[nodiscard]] ValidationResult {
  public:
    /// Valid.
    ValidationResult() = default;

    [[nodiscard]] static ValidationResult invalid(std::vector<std::string> messages) {
        ValidationResult result;
        result.errors_ = std::move(messages);
        return result;
    }

    [[nodiscard]] bool valid() const noexcept { return !errors_; }

    /// The messages; nothing when valid.
    [[nodiscard]] const std::optional<std::vector<std::string>>& errors() const& noexcept {
        return errors_;
    }
    [[nodiscard]] std::optional<std::vector<std::string>> errors() && noexcept {
        return std::move(errors_);
    }

    friend bool operator==(const ValidationResult&, const ValidationResult&) = default;

  private:
    std::optional<std::vector<std::string>> errors_;
};

}  // namespace zentara
