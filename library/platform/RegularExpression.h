#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace zentara {

/// The number of user-perceived characters (extended grapheme clusters) in UTF-8 text: a family
/// emoji counts 1, CR LF counts 1.
[[nodiscard]] std::size_t characterCount(std::string_view text);

/// The number of UTF-16 units that the UTF-8 text takes.
[[nodiscard]] std::size_t utf16Length(std::string_view text);

/// A compiled regular expression in ICU's dialect, with no options set. A cheap, copyable handle;
/// safe for use from any thread.
///
/// Compiled forms are kept in a bounded cache of the process, so compiling the same pattern at
/// each use costs a look-up. Matching has a time and a stack limit, so that no pattern from a
/// server can hang or overflow the host; running into one counts as no match.
class RegularExpression {
  public:
    /// A match, in UTF-16 units from the start of the text.
    struct Range {
        std::size_t location = 0;
        std::size_t length = 0;

        friend bool operator==(const Range&, const Range&) = default;
    };

    /// The compiled `pattern`, or nothing when it is not a valid expression.
    [[nodiscard]] static std::optional<RegularExpression> compile(std::string_view pattern);

    /// Whether the expression matches somewhere in the first `searchLength` UTF-16 units of `text`.
    [[nodiscard]] bool matches(std::string_view text, std::size_t searchLength) const;

    /// Up to `limit` successive matches within the first `searchLength` UTF-16 units of `text`.
    [[nodiscard]] std::vector<Range> findAll(std::string_view text, std::size_t searchLength,
                                             std::size_t limit) const;

  private:
    struct Compiled;
    explicit RegularExpression(std::shared_ptr<const Compiled> compiled)
        : compiled_(std::move(compiled)) {}

    std::shared_ptr<const Compiled> compiled_;
};

}  // namespace zentara
