#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "json/JSONValue.h"

namespace zentara::schemas {

/// The kind of value that a keyword must have to take effect.
enum class Expected : std::uint8_t {
    text,
    number,
    integer,
    boolean,
    object,
    list,
    objects,     ///< a list of objects
    texts,       ///< a list of texts
    dictionary,  ///< an object of objects
    objectOrBoolean,
    items,         ///< an object, or a list of objects
    dependencies,  ///< an object of objects and lists of texts
    any,
};

/// A keyword that the engine knows.
struct KnownKeyword {
    std::string_view spelling;
    std::uint16_t kinds;  ///< of the values that it applies to
    Expected expected;
};

/// Null for any other key.
[[nodiscard]] const KnownKeyword* knownKeyword(std::string_view key) noexcept;

/// What a keyword of another dialect does there, and what to write instead.
struct OtherKeyword {
    std::string_view spelling, meaning, advice;
};

[[nodiscard]] const OtherKeyword* otherKeyword(std::string_view key) noexcept;

/// The keyword that a key resembles; empty if it resembles none, or has a meaning of its own.
[[nodiscard]] std::string_view resembledKeyword(std::string_view key);

/// The first of the names that a text resembles; empty if there is none.
[[nodiscard]] std::string_view resembled(std::string_view text,
                                         std::span<const std::string_view> names);

/// What is wrong with the value of a keyword.
struct WrongValue {
    std::optional<std::string> component;  ///< the element or member
    std::string_view expectation;          ///< "a list of objects"
};

[[nodiscard]] std::optional<WrongValue> wrongValue(Expected expected, const JSONValue& value);

}  // namespace zentara::schemas
