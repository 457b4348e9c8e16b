#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "schemas/values/Random.h"
#include "text/RegularExpression.h"

namespace zentara::schemas {

/// Draws texts that a regular expression matches. Understands literals, classes, escapes, groups,
/// alternatives, repetitions and back references; anchors and look-around are left to chance.
class PatternText {
  public:
    explicit PatternText(std::string_view pattern);

    /// A text that the expression matches as the engine searches it; nothing when none was found.
    /// Repetitions without an upper bound repeat up to `extra` times more than they must.
    [[nodiscard]] std::optional<std::string> draw(Random& random, std::size_t extra) const;

    [[nodiscard]] const RegularExpression& expression() const noexcept { return expression_; }

    /// Code points, both ends included.
    struct Range {
        char32_t first = 0, last = 0;
    };
    using Ranges = std::vector<Range>;

    /// A part of the expression with its repetition.
    struct Part {
        Ranges characters;  ///< one of these, unless it is a group or refers to one
        std::vector<std::vector<Part>> alternatives;  ///< of a group
        std::size_t group = 0;                        ///< its number; of a reference too
        bool isReference = false;
        std::size_t least = 1;
        std::size_t most = 1;
        bool isUnbounded = false;
    };

  private:
    RegularExpression expression_;
    std::optional<std::vector<std::vector<Part>>> alternatives_;  ///< absent: not understood
    std::size_t groups_ = 0;
};

}  // namespace zentara::schemas
