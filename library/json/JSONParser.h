#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include <zentara/JSONValue.h>
#include "support/Status.h"

namespace zentara {

/// How deep lists and dictionaries may be nested in a text that is read.
inline constexpr std::size_t maximumJSONDepth = 512;

/// Why a text could not be read as JSON.
class JSONError final : public Error {
  public:
    enum class Cause { malformed, tooDeep, tooManyValues, wrongTopLevel };

    JSONError(Cause cause, std::string reason) : cause_(cause), reason_(std::move(reason)) {}

    [[nodiscard]] Cause cause() const noexcept { return cause_; }
    [[nodiscard]] std::string description() const override { return "JSON: " + reason_; }

  private:
    Cause cause_;
    std::string reason_;
};

/// The most that a text may hold.
struct JSONLimits {
    std::size_t depth = maximumJSONDepth;  ///< levels of nesting
    /// Values and keys.
    std::size_t values = std::numeric_limits<std::size_t>::max();
};

/// Reads a whole JSON text of any kind, UTF-8. Integers that fit 64 bits stay integers; any other
/// number becomes the nearest double, or an infinity beyond all doubles. Of duplicate keys the last
/// wins. Fails with a `JSONError`; throws `std::bad_alloc`, since a lack of memory is no fault of
/// the text.
Result<JSONValue> parseJSONValue(std::string_view text, JSONLimits limits = {});

/// The same for an object or an array, with or without a byte-order mark.
Result<JSONValue> parseJSON(std::string_view text, JSONLimits limits = {});

}  // namespace zentara
