#pragma once

#include <cstdint>
#include <string_view>

#include "json/JSONValue.h"
#include "support/WorkLimits.h"

namespace zentara {

/// Whether two values are equal as objects: numbers by numeric value whatever their kind, booleans
/// as 1 and 0, strings by content, lists and dictionaries deeply, the order of keys ignored.
///
/// What is nested too deep (`isTooDeep`) is never equal. What comparing costs is taken from
/// `allowance`; with nothing left the answer is false.
[[nodiscard]] bool objectsEqual(const JSONValue& one, const JSONValue& other,
                                WorkAllowance* allowance = nullptr);

/// A hash that is the same for values that are equal as objects, unless `allowance` runs out.
/// Differs in each process.
[[nodiscard]] std::uint64_t objectHash(const JSONValue& value, WorkAllowance* allowance = nullptr);

/// A hash that differs in each process, so that no chosen texts collide.
[[nodiscard]] std::uint64_t seededHash(std::string_view text) noexcept;

}  // namespace zentara
