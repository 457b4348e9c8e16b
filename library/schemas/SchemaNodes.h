#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/Format.h"
#include "schemas/Schema.h"
#include "support/Mutex.h"
#include "text/RegularExpression.h"

namespace zentara {

/// The keywords. Those with a check of their own come first, in the order of the checks.
/// `Keywords.h` defines how each is spelled, compiled and checked.
enum class Keyword : std::uint8_t {
    format,
    reference,
    type,
    allOf,
    anyOf,
    oneOf,
    negation,
    enumeration,
    maxLength,
    minLength,
    pattern,
    multipleOf,
    minimum,
    maximum,
    minItems,
    maxItems,
    uniqueItems,
    items,
    maxProperties,
    minProperties,
    required,
    properties,
    dependencies,
    // Compiled with another keyword.
    exclusiveMinimum,
    exclusiveMaximum,
    additionalItems,
    patternProperties,
    additionalProperties,
    // Not spelled in a schema: fails for every value, with a fixed message.
    failure,
    count
};

/// The kinds of JSON values, a bit each. A double beyond the range of 64-bit integers has a bit of
/// its own and counts as an integer, since the parser reads such integers as doubles.
namespace kinds {
constexpr std::uint16_t of(JSONValue::Kind kind) noexcept {
    return static_cast<std::uint16_t>(1U << static_cast<unsigned>(kind));
}
inline constexpr std::uint16_t hugeDouble = 1U << 8U;
inline constexpr std::uint16_t all = 0x1FF;
inline constexpr std::uint16_t object = of(JSONValue::Kind::object);
inline constexpr std::uint16_t array = of(JSONValue::Kind::array);
inline constexpr std::uint16_t string = of(JSONValue::Kind::string);
inline constexpr std::uint16_t integer =
    of(JSONValue::Kind::integer) | of(JSONValue::Kind::unsignedInteger) | hugeDouble;
inline constexpr std::uint16_t fraction = of(JSONValue::Kind::number);
inline constexpr std::uint16_t number = integer | fraction;
inline constexpr std::uint16_t boolean = of(JSONValue::Kind::boolean);
inline constexpr std::uint16_t null = of(JSONValue::Kind::null);

[[nodiscard]] inline unsigned of(const JSONValue& value) noexcept {
    if (value.isDouble()) [[unlikely]] {
        const double real = *value.ifDouble();
        if (std::isfinite(real) && (real < -0x1p63 || real >= 0x1p64)) return hugeDouble;
    }
    return 1U << static_cast<unsigned>(value.kind());
}
}  // namespace kinds

/// Expressions by their patterns. The schemas of a table share them, since most use the same few.
/// Safe for use from any thread.
class SharedExpressions {
  public:
    /// The expression lives as long as this object.
    [[nodiscard]] const RegularExpression& of(std::string_view pattern) {
        const MutexLock lock(mutex_);
        return all_.try_emplace(std::string(pattern), pattern).first->second;
    }

  private:
    Mutex mutex_;
    std::map<std::string, RegularExpression> all_ ZENTARA_GUARDED_BY(mutex_);
};

/// A compiled schema: a node for each subschema that can be reached, with the checks of its
/// keywords in their order. An invalid keyword has no check, or a check that fails. The lists refer
/// to each other by position. Immutable.
class SchemaNodes {
  public:
    using Position = std::uint32_t;

    // Instead of a node for additional elements or members.
    static constexpr Position permitted = std::numeric_limits<Position>::max();
    static constexpr Position forbidden = permitted - 1;

    /// What a keyword requires.
    struct Check {
        Keyword keyword;
        bool flag = false;        ///< several types; exclusive; one schema for all items; at least
        std::uint16_t kinds;      ///< the kinds of values that it examines
        std::uint32_t count = 0;  ///< entries from `first` on
        union {
            std::int64_t integer;
            double number;
            const Format* format;
            Position first;  ///< in the list that goes with the keyword
        };
    };
    static_assert(sizeof(Check) == 16);

    struct Node {
        Position firstCheck;
        std::uint8_t count;
        bool isInner;         ///< has subschemas
        std::uint16_t kinds;  ///< the kinds of values that any check examines
        std::uint32_t cost;
    };
    struct Name {
        Position first;
        std::uint32_t size;
    };
    struct Property {
        Name name;
        Position node;
    };
    /// "properties", "patternProperties" and "additionalProperties" of one node.
    struct Members {
        Position first;  ///< among the properties
        std::uint32_t count;
        Position firstPattern;  ///< among the expressions; their nodes are among the references
        std::uint32_t patternCount;
        Position patternNodes;
        Position additional;
        Position byName;  ///< among the references: their order by name, if they are many
        /// Bits for the required properties, and the value that lists them. Not set when "required"
        /// has a check of its own.
        std::uint64_t required;
        Position requiredNames;
    };
    struct Dependency {
        Name key;
        Position target;  ///< a node, or the value that lists the names
        bool isList;
    };

    [[nodiscard]] std::string_view text(Name name) const noexcept {
        return {names.data() + name.first, name.size};
    }

    std::vector<Node> nodes;  ///< the first one is the root
    std::vector<Check> checks;
    std::vector<Position> references;  ///< nodes, where a keyword has several
    std::vector<Property> properties;
    std::vector<Members> members;
    std::vector<Dependency> dependencies;
    std::vector<const RegularExpression*> expressions;  ///< of "pattern" and "patternProperties"
    std::vector<JSONValue> values;  ///< that messages show or values are compared with
    std::string names;
    std::shared_ptr<SharedExpressions> expressionsOwner;

    // Of the document: texts, or null.
    JSONValue title, description;
    std::vector<Type> types;
};

}  // namespace zentara
