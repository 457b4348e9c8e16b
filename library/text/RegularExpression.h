#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <utility>

#include "support/WorkLimits.h"
#include "text/ASCIIPattern.h"

namespace zentara {

/// A regular expression in ICU's dialect, with no options set, that is compiled at its first use.
/// Safe for use from any thread.
///
/// Two engines match it, with the same answers:
///
/// - `ASCIIPattern` matches simple expressions, which most patterns of schemas are, on plain ASCII
///   text, in time linear to the text. The expression owns it.
/// - `ICUExpression` matches everything else, within limits. A cache of the process owns these. It
///   is bounded to about 32 MB with the matchers that are kept for later matches.
///
/// The limits of a match by ICU: about a tenth of a second of the thread's processor time, 8 MB of
/// heap for its stack, and 32,768 UTF-16 units of text, so that no pattern from a server can hang
/// or overflow the host. A search that exceeds a limit finds no match. Nor does an expression that
/// may do too much work per saved state, such as hundreds of word boundaries or groups.
///
/// The cost of compiling and matching is taken from `allowance`. Once that is exhausted, nothing
/// matches.
class RegularExpression {
  public:
    explicit RegularExpression(std::string_view pattern) : pattern_(pattern) {}
    ~RegularExpression();

    RegularExpression(const RegularExpression&) = delete;
    RegularExpression& operator=(const RegularExpression&) = delete;

    [[nodiscard]] std::string_view pattern() const noexcept { return pattern_; }

    /// Whether the pattern is an expression. The empty text is not, nor is a pattern that takes too
    /// long to compile: of more than 16 KB, with thousands of character sets or repetitions, or
    /// with more than 15 large sets where case is ignored.
    [[nodiscard]] bool isValid(WorkAllowance* allowance = nullptr) const;

    /// Whether the expression matches somewhere in the first UTF-16 units of `text`, as many as the
    /// text has characters. The text ends there for anchors and look-ahead, too. An expression that
    /// is not valid matches nothing.
    [[nodiscard]] bool matches(std::string_view text, WorkAllowance* allowance = nullptr) const;

  private:
    /// The automaton of a simple expression; a placeholder for any other.
    [[nodiscard]] const ASCIIPattern* simple(WorkAllowance* allowance) const {
        const auto* const found = simple_.load(std::memory_order_acquire);
        return found != nullptr ? found : compileSimple(allowance);
    }
    [[nodiscard]] const ASCIIPattern* compileSimple(WorkAllowance* allowance) const;

    const std::string pattern_;
    /// Null until the first use.
    mutable std::atomic<const ASCIIPattern*> simple_{nullptr};
};

}  // namespace zentara
