#pragma once

#include <cstdint>

#include "json/JSONValue.h"
#include "support/WorkLimits.h"

namespace zentara {

/// Whether two values are equal as objects: numbers by numeric value whatever their kind, booleans
/// as 1 and 0, strings by content, lists and dictionaries deeply, the order of keys ignored.
///
/// What lies more than 1024 levels deep, or deeper than a small stack takes, is never equal. What
/// comparing costs is taken from `allowance`; with nothing left the answer is false.
[[nodiscard]] bool objectsEqual(const JSONValue& one, const JSONValue& other,
                                WorkAllowance* allowance = nullptr);

/// A hash that is the same for values that are equal as objects, unless `allowance` runs out;
/// another one in each process.
[[nodiscard]] std::uint64_t objectHash(const JSONValue& value, WorkAllowance* allowance = nullptr);

}  // namespace zentara
