#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zentara::schemas {

// Parts of the sentences of findings.

/// The text in quotes, cut if it is long.
[[nodiscard]] std::string inQuotes(std::string_view text);

/// As JSON has it: 5 rather than 5.0.
[[nodiscard]] std::string shown(double number);

/// The names of kinds of values (`zentara::kinds`), for example: null or an array.
[[nodiscard]] std::string namesOf(std::uint16_t set);

}  // namespace zentara::schemas
