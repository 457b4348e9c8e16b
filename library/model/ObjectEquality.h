#pragma once

#include <cstddef>

#include "platform/JSONValue.h"

namespace zentara {

/// Whether two values are equal as objects: numbers by numeric value whatever their kind, booleans
/// as 1 and 0, strings by content, lists and dictionaries deeply, the order of keys ignored.
[[nodiscard]] bool objectsEqual(const JSONValue& one, const JSONValue& other);

/// A hash that is the same for values that are equal as objects.
[[nodiscard]] std::size_t objectHash(const JSONValue& value);

}  // namespace zentara
