#pragma once

#include <cstddef>
#include <string>

#include "json/JSONValue.h"

namespace zentara {

/// Appends `value` as validation messages and cookies show it: a bare string without quotes,
/// integers in decimal, doubles as `appendDouble` writes them, true and false, <null>,
/// lists ["a", 1] and [], dictionaries ["k": 1] and [:], strings inside them quoted. What lies
/// below 1024 levels, or deeper than a small stack takes, prints as three dots.
void appendPrinted(std::string& text, const JSONValue& value);

/// How many bytes that takes. Counts no further once there are more than `most`.
[[nodiscard]] std::size_t printedSize(const JSONValue& value, std::size_t most);

}  // namespace zentara
