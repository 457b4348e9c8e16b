#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <zentara/Export.h>
#include <zentara/Language.h>

namespace zentara {

/// An absolute URL whose text was checked when it was made. A copyable value.
class ZENTARA_EXPORT URL {
  public:
    /// The URL that `text` spells, or nothing when it is not an absolute URL with a scheme and,
    /// for http and https, a host.
    [[nodiscard]] static std::optional<URL> parse(std::string_view text);

    /// The URL as text.
    [[nodiscard]] const std::string& string() const noexcept { return text_; }

    /// The scheme in lower case, for example "https".
    [[nodiscard]] std::string scheme() const;

    /// The host without port or brackets, in lower case; empty when there is none.
    [[nodiscard]] std::string host() const;

    /// This URL with `component` added as the last component of its path, percent-encoded where
    /// needed. Exactly one slash separates it from what was there; a query stays a query.
    [[nodiscard]] URL appendingPathComponent(std::string_view component) const;

    friend bool operator==(const URL&, const URL&) = default;

  private:
    explicit URL(std::string text) : text_(std::move(text)) {}

    std::string text_;
};

}  // namespace zentara
