#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "support/WorkLimits.h"

namespace zentara {

/// A named check of the "format" keyword.
struct Format {
    enum class OtherKinds : std::uint8_t {
        accepted,
        refused,
        stopping,  ///< end the validation: for tools, which must know but must not die
        fatal,     ///< end the process
    };

    std::string_view name;
    /// Counting characters takes from the allowance.
    bool (*accepts)(std::string_view text, WorkAllowance& allowance);
    /// The message after the quoted value.
    std::string_view complaint;
    /// How values that are not strings are treated.
    OtherKinds otherKinds = OtherKinds::accepted;
};

/// The last message of a validation that a `stopping` format has ended.
inline constexpr std::string_view stoppedByFormat =
    "Validation stopped: the format numericString was applied to a value that is not a string";

/// The formats of every document: "ipv4", "ipv6", "uri" and "numericString". The last is meant for
/// properties that can only hold strings: any other value is fatal.
[[nodiscard]] std::span<const Format> standardFormats() noexcept;

// For tools: the same formats, except that "numericString" treats other values like this.
[[nodiscard]] std::span<const Format> refusingFormats() noexcept;
[[nodiscard]] std::span<const Format> stoppingFormats() noexcept;

}  // namespace zentara
