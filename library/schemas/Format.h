#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "support/WorkLimits.h"

namespace zentara {

/// A named check of the "format" keyword.
struct Format {
    enum class OtherKinds : std::uint8_t { accepted, refused, fatal };

    std::string_view name;
    /// What counting characters costs is taken from the allowance.
    bool (*accepts)(std::string_view text, WorkAllowance& allowance);
    /// What a message says after the quoted value.
    std::string_view complaint;
    /// What becomes of values that are not strings.
    OtherKinds otherKinds = OtherKinds::accepted;
};

/// The formats that every document knows: "ipv4", "ipv6", "uri" and "numericString". For the last
/// a value that is not a string is fatal: it is meant for properties that can only hold strings.
[[nodiscard]] std::span<const Format> standardFormats() noexcept;

}  // namespace zentara
