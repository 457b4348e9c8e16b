#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

#include "json/JSONValue.h"
#include "support/WorkLimits.h"

namespace zentara {

// Looking at all elements of a list or dictionary is charged, whatever they turn out to be. Whether
// anything is left is for the caller to see, at the latest in the next subschema.
inline void spendOnElements(std::size_t count, WorkAllowance& allowance) noexcept {
    constexpr std::int64_t unitsPerElement = 2;
    allowance.spend(unitsPerElement * static_cast<std::int64_t>(count));
}

// What a keyword's value is taken as; nothing or null when it is of another kind, which makes the
// keyword have no effect.

/// A number that holds a 64-bit signed integer exactly: 2 and 2.0, not 1.5, "2" or true.
[[nodiscard]] inline std::optional<std::int64_t> integerValue(const JSONValue& value) noexcept {
    constexpr double twoTo63 = 9223372036854775808.0;
    if (const auto integer = value.ifInteger()) return *integer;
    if (const auto natural = value.ifUnsignedInteger()) {
        if (*natural > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) return std::nullopt;
        return static_cast<std::int64_t>(*natural);
    }
    const auto number = value.ifDouble();
    if (!number || std::trunc(*number) != *number) return std::nullopt;
    if (*number < -twoTo63 || *number >= twoTo63) return std::nullopt;
    return static_cast<std::int64_t>(*number);
}

/// A number, not a boolean, as a double, rounded if need be.
[[nodiscard]] inline std::optional<double> numberValue(const JSONValue& value) noexcept {
    if (const auto integer = value.ifInteger()) return static_cast<double>(*integer);
    if (const auto natural = value.ifUnsignedInteger()) return static_cast<double>(*natural);
    if (const auto number = value.ifDouble()) return *number;
    return std::nullopt;
}

[[nodiscard]] inline const JSONArray* listOfObjects(const JSONValue& value,
                                                    WorkAllowance& allowance) noexcept {
    const auto* const list = value.ifArray();
    if (list == nullptr) return nullptr;
    spendOnElements(list->size(), allowance);
    const auto isObject = [](const JSONValue& element) {
        return element.isObject();
    };
    return std::all_of(list->begin(), list->end(), isObject) ? list : nullptr;
}

[[nodiscard]] inline const JSONArray* listOfStrings(const JSONValue& value) noexcept {
    const auto* const list = value.ifArray();
    const auto isString = [](const JSONValue& element) {
        return element.isString();
    };
    return list != nullptr && std::all_of(list->begin(), list->end(), isString) ? list : nullptr;
}
[[nodiscard]] inline const JSONArray* listOfStrings(const JSONValue& value,
                                                    WorkAllowance& allowance) noexcept {
    if (const auto* const list = value.ifArray()) spendOnElements(list->size(), allowance);
    return listOfStrings(value);
}

[[nodiscard]] inline const JSONObject* dictionaryOfObjects(const JSONValue* value,
                                                           WorkAllowance& allowance) noexcept {
    const auto* const dictionary = value == nullptr ? nullptr : value->ifObject();
    if (dictionary == nullptr) return nullptr;
    spendOnElements(dictionary->size(), allowance);
    const auto isObject = [](const auto& member) {
        return member.value().isObject();
    };
    return std::all_of(dictionary->begin(), dictionary->end(), isObject) ? dictionary : nullptr;
}

/// Whether "additionalItems" or "additionalProperties" excludes anything: a schema or false does.
[[nodiscard]] inline bool restricts(const JSONValue* additional) noexcept {
    return additional != nullptr &&
           (additional->isObject() || (additional->isBoolean() && !additional->boolean()));
}

}  // namespace zentara
