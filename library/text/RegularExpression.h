#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "support/WorkAllowance.h"

namespace zentara {

/// The number of user-perceived characters (extended grapheme clusters) in UTF-8 text: a family
/// emoji counts 1, CR LF counts 1. An ill-formed sequence counts as U+FFFD. What counting costs is
/// taken from `allowance`.
[[nodiscard]] std::size_t characterCount(std::string_view text, WorkAllowance* allowance = nullptr);

/// The number of UTF-16 units that the UTF-8 text takes.
[[nodiscard]] std::size_t utf16Length(std::string_view text);

/// A compiled regular expression in ICU's dialect, with no options set. A cheap, copyable handle;
/// safe for use from any thread.
///
/// Compiled forms are kept in a cache of the process, bounded to about 32 MB with the matchers that
/// are kept for them, so compiling the same pattern at each use costs a look-up. Each match has a
/// work limit (about a tenth of a second of its thread's own time) and a stack limit (8 MB of
/// heap), so that no pattern from a server can hang or overflow the host; running into one counts
/// as no match. So does a search of more than 32,768 UTF-16 units, and one with an expression that
/// may look at too much for each state that it saves, such as hundreds of word boundaries or
/// groups, except for the simple expressions on plain ASCII text that take time linear to it. A
/// caller that matches many times shares one allowance among the calls: what compiling and matching
/// cost is taken from it, and with nothing left nothing matches.
class RegularExpression {
  public:
    /// A match, in UTF-16 units from the start of the text.
    struct Range {
        std::size_t location = 0;
        std::size_t length = 0;

        friend bool operator==(const Range&, const Range&) = default;
    };

    /// The compiled `pattern`, or nothing when it is not a valid expression. The empty text is not,
    /// nor is one that takes too long to compile: of more than 16 KB, with thousands of character
    /// sets or repetitions, or with more than 15 large sets where case is ignored.
    [[nodiscard]] static std::optional<RegularExpression> compile(
        std::string_view pattern, WorkAllowance* allowance = nullptr);

    /// Whether the expression matches somewhere in the first `searchLength` UTF-16 units of `text`.
    /// The text ends there for anchors and look-ahead, too.
    [[nodiscard]] bool matches(std::string_view text, std::size_t searchLength,
                               WorkAllowance* allowance = nullptr) const;

    /// Up to `limit` successive matches within the first `searchLength` UTF-16 units of `text`.
    [[nodiscard]] std::vector<Range> findAll(std::string_view text, std::size_t searchLength,
                                             std::size_t limit,
                                             WorkAllowance* allowance = nullptr) const;

  private:
    class Compiled;
    class Cache;

    explicit RegularExpression(std::shared_ptr<const Compiled> compiled)
        : compiled_(std::move(compiled)) {}

    std::shared_ptr<const Compiled> compiled_;
};

}  // namespace zentara
