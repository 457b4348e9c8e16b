#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <variant>

#include "json/JSONValue.h"
#include "support/Status.h"

namespace zentara {

/// How deep lists and dictionaries may be nested in a text that is read.
inline constexpr std::size_t maximumJSONDepth = 512;

/// The same for the properties of an event, which lies three levels deep in an envelope: the
/// envelope, its list of actions, the action.
inline constexpr std::size_t maximumPropertiesDepth = maximumJSONDepth - 3;

/// A document that was read, or why it could not be.
struct [[nodiscard]] ParsedJSON {
    JSONValue value;
    ErrorRef error;  ///< null on success
};

/// Reads a whole JSON text: an object or an array, UTF-8 with or without a byte-order mark, nested
/// up to `maximumJSONDepth`. Integers that fit 64 bits stay integers, other numbers become doubles;
/// of duplicate keys the last wins. Numbers are read exactly. The values live in `storage`; more
/// than `mostValues` of them, each key counted too, are an error. Throws `std::bad_alloc`, as a
/// lack of memory says nothing about the text.
ParsedJSON parseJSON(std::string_view text, boost::json::storage_ptr storage = {},
                     std::size_t mostValues = std::numeric_limits<std::size_t>::max());

/// Appends the compact text of `value`: UTF-8, "/" not escaped, doubles as `appendDouble` writes
/// them so that they read back as doubles. Returns false, with `text` as it was, when JSON cannot
/// hold the value: NaN, an infinity, or a nesting deeper than `depth`.
[[nodiscard]] bool appendJSON(std::string& text, const JSONValue& value,
                              std::size_t depth = maximumJSONDepth);
[[nodiscard]] bool appendJSON(std::string& text, const JSONObject& object,
                              std::size_t depth = maximumJSONDepth);

/// Appends a JSON string literal.
void appendJSONString(std::string& text, std::string_view value);

/// Appends the shortest text that reads back as `number`: decimal with at least one fractional
/// digit ("5.0") while 0.0001 <= |number| <= 2^53 or for zero, exponential ("1e+16", "1e-05")
/// otherwise; "nan", "inf" and "-inf" for what is not finite.
void appendDouble(std::string& text, double number);

}  // namespace zentara
