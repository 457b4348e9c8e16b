#pragma once

#include <string>

#include "platform/JSONValue.h"

namespace zentara {

/// Appends `value` as validation messages and cookies show it: a bare string without quotes,
/// integers in decimal, doubles as `appendDouble` writes them, true and false, <null>,
/// lists ["a", 1] and [], dictionaries ["k": 1] and [:], strings inside them quoted. What lies
/// below 1024 levels prints as three dots.
void appendPrinted(std::string& text, const JSONValue& value);

}  // namespace zentara
