#pragma once

#include "json/JSONValue.h"
#include "schemas/ValidationResult.h"

namespace zentara {

/// Checks `value` against the JSON Schema document `schema`, the root of its own references, and
/// returns every violation as a message for people, in the order of the keywords. May be called
/// from any thread; keeps nothing between calls but compiled regular expressions.
///
/// Never fails otherwise: a fault of the document (an unknown type or format, a bad pattern, a
/// reference that leads nowhere) is a message too, at the values that reach it. The one exception
/// is the format "numericString", which ends the process when applied to a value that is no string.
///
/// Bounded whatever the document and the value: one call does at most about half a second of work,
/// messages take at most about 60 MB, subschemas nest at most 2560 deep (five for each of 512
/// levels of data) or as deep as the thread's stack takes with 128 KB to spare. Beyond that, and at
/// a reference that leads back to itself on the same value, the value is invalid and the last
/// message says why it was given up.
///
///     const auto result = validate(event, schema);
///     if (!result.valid()) report(*result.errors());
ValidationResult validate(const JSONValue& value, const JSONObject& schema);

}  // namespace zentara
