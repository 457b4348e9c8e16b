#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string_view>

#include <unicode/uregex.h>

#include "support/WorkLimits.h"
#include "text/PatternCost.h"

namespace zentara {

/// An expression compiled by ICU, whose searches end within limits of time and memory. Safe for use
/// from any thread.
class ICUExpression {
  public:
    /// Null when `pattern` is not a valid expression, or takes too long to compile. Compiling takes
    /// from `allowance`, which may be null.
    [[nodiscard]] static std::unique_ptr<const ICUExpression> compile(std::string_view pattern,
                                                                      WorkAllowance* allowance);

    ~ICUExpression();
    ICUExpression(const ICUExpression&) = delete;
    ICUExpression& operator=(const ICUExpression&) = delete;

    /// The bytes that the expression takes, with the matcher that it keeps.
    [[nodiscard]] std::size_t size() const noexcept;

    /// Whether there is a match in the first `searchLength` UTF-16 units of `text`. The text ends
    /// there for anchors and look-ahead, too. A search that reaches a limit finds no match.
    [[nodiscard]] bool matches(std::string_view text, std::size_t searchLength,
                               WorkAllowance* allowance) const;

  private:
    class Matcher;
    struct Closer {
        void operator()(URegularExpression* expression) const noexcept { uregex_close(expression); }
    };
    using Pointer = std::unique_ptr<URegularExpression, Closer>;

    [[nodiscard]] static std::unique_ptr<const ICUExpression> open(std::string_view pattern);

    ICUExpression(Pointer prototype, const PatternCost& cost);

    [[nodiscard]] std::unique_ptr<Matcher> cloned(std::size_t stackSize) const;

    /// Each search uses a clone of it.
    const Pointer prototype_;
    const PatternCost cost_;
    const bool keepsMatcher_;
    /// The matcher of the last search, if its stack is small: a single thread clones once.
    mutable std::atomic<Matcher*> spare_{nullptr};
};

}  // namespace zentara
