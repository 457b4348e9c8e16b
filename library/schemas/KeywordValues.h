#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "json/JSONValue.h"
#include "schemas/Schema.h"
#include "schemas/SchemaNodes.h"

namespace zentara {

// How the engine reads the value of a keyword. It ignores a value of the wrong kind: the result is
// then nothing or null, as for a keyword that is absent (a null `value`).

[[nodiscard]] inline bool isTrue(const JSONValue* value) noexcept {
    return value != nullptr && value->ifBoolean() == true;
}

[[nodiscard]] inline std::optional<std::string_view> textOf(const JSONValue* value) noexcept {
    return value == nullptr ? std::nullopt : value->ifString();
}

[[nodiscard]] inline std::optional<std::int64_t> integerOf(const JSONValue* value) noexcept {
    return value == nullptr ? std::nullopt : value->asInteger();
}

[[nodiscard]] inline std::optional<double> numberOf(const JSONValue* value) noexcept {
    return value == nullptr ? std::nullopt : value->asDouble();
}

[[nodiscard]] inline const JSONObject* schemaOf(const JSONValue* value) noexcept {
    return value == nullptr ? nullptr : value->ifObject();
}

/// The list if all of its elements are of that kind.
[[nodiscard]] inline const JSONArray* listOf(JSONValue::Kind kind,
                                             const JSONValue* value) noexcept {
    const auto* const list = value == nullptr ? nullptr : value->ifArray();
    const auto isOther = [kind](const JSONValue& each) {
        return each.kind() != kind;
    };
    return list == nullptr || std::any_of(list->begin(), list->end(), isOther) ? nullptr : list;
}

[[nodiscard]] inline const JSONArray* textsOf(const JSONValue* value) noexcept {
    return listOf(JSONValue::Kind::string, value);
}

[[nodiscard]] inline const JSONArray* schemasOf(const JSONValue* value) noexcept {
    return listOf(JSONValue::Kind::object, value);
}

/// Schemas by their names or patterns.
[[nodiscard]] inline const JSONObject* namedSchemasOf(const JSONValue* value) noexcept {
    const auto* const object = schemaOf(value);
    const auto isOther = [](const JSONMember& each) {
        return !each.value().isObject();
    };
    return object == nullptr || std::any_of(object->begin(), object->end(), isOther) ? nullptr
                                                                                     : object;
}

/// What is required of elements or members without a schema of their own.
struct Additional {
    bool isForbidden = false;
    const JSONObject* schema = nullptr;  ///< null: anything, unless forbidden
};

/// Of "additionalItems" and "additionalProperties".
[[nodiscard]] inline Additional additionalOf(const JSONValue* value) noexcept {
    if (value == nullptr) return {};
    return {value->ifBoolean() == false, value->ifObject()};
}

/// None for a type that is not known.
[[nodiscard]] inline unsigned kindsOf(std::optional<Type> type) noexcept {
    constexpr std::array<unsigned, typeNames.size()> all = {
        kinds::object, kinds::array,   kinds::string, kinds::integer,
        kinds::number, kinds::boolean, kinds::null};
    return type ? all[static_cast<std::size_t>(*type)] : 0;
}

/// The kinds of values that "type" permits. None if its value is of the wrong kind: the engine
/// ignores no "type".
[[nodiscard]] inline unsigned kindsOfType(const JSONValue* type) noexcept {
    if (type == nullptr) return kinds::all;
    if (const auto name = type->ifString()) return kindsOf(typeNamed(*name));
    unsigned all = 0;
    if (const auto* const names = textsOf(type)) {
        for (const auto& name : *names)
            all |= kindsOf(typeNamed(*name.ifString()));
    }
    return all;
}

}  // namespace zentara
