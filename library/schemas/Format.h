#pragma once

#include <span>
#include <string_view>

#include "json/JSONValue.h"
#include "schemas/ValidationResult.h"

namespace zentara {

/// A named check of the "format" keyword.
struct Format {
    std::string_view name;
    bool (*accepts)(const JSONValue& value);
    /// What a message says after the quoted value.
    std::string_view complaint;

    [[nodiscard]] ValidationResult operator()(const JSONValue& value) const;
};

/// The formats that every document knows: "ipv4", "ipv6", "uri" and "numericString". They accept
/// any value that is not a string, except "numericString", for which such a value is a fatal error:
/// that format is meant for properties that can only hold strings.
[[nodiscard]] std::span<const Format> standardFormats() noexcept;

}  // namespace zentara
