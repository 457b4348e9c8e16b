#pragma once

#include <cstdint>

#include "json/JSONValue.h"

namespace zentara::schemas {

/// An object schema as teams write them: typed properties with bounds, patterns, formats and
/// enumerations, nested objects and arrays, nullable types, definitions, sometimes choices and
/// dependencies, odd names. The same for the same seed. The engine accepts some value.
[[nodiscard]] JSONObject randomSchema(std::uint64_t seed);

}  // namespace zentara::schemas
