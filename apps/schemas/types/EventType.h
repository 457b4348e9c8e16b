#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/files/SchemaFile.h"

namespace zentara::schemas {

/// What a typed event can say about a value.
enum class Shape : std::uint8_t {
    json,  ///< any JSON value: the types of the languages cannot say what is permitted
    text,
    integer,  ///< 64 bits, signed
    number,
    boolean,
    enumeration,
    record,
    list,
};

/// The type of a value. The bounds are those that the schema requires of every value at this place.
struct ValueType {
    Shape shape = Shape::json;
    bool isNullable = false;  ///< null is permitted, too
    std::string whyJSON;      ///< of `json`: a sentence

    // Of texts, lengths in characters.
    std::optional<std::int64_t> minLength, maxLength;
    std::vector<std::string> patterns;
    std::string format;  ///< one that the engine knows; or empty

    // Of integers and numbers.
    std::optional<double> minimum, maximum, multipleOf;
    bool exclusiveMinimum = false, exclusiveMaximum = false;

    // Of lists.
    std::optional<std::int64_t> minItems, maxItems;
    bool uniqueItems = false;
    std::shared_ptr<const ValueType> element;

    std::size_t position = 0;  ///< of the enumeration or the record in the event

    friend bool operator==(const ValueType& one, const ValueType& other);
};

/// A property of a record.
struct Property {
    std::string key;  ///< in JSON
    ValueType type;
    bool isRequired = false;
    std::string description;

    friend bool operator==(const Property&, const Property&) = default;
};

/// An object with named properties.
struct Record {
    std::vector<std::string> words;    ///< of its name: {"order", "line"}; empty for the event
    std::vector<Property> properties;  ///< in the order of the schema
    bool hasFreeProperties = false;    ///< others are permitted
    std::string whyFree;               ///< a sentence, if they are
    std::string description;
    std::string pointer;  ///< in the document
};

/// A choice of texts or of integers.
struct Enumeration {
    std::vector<std::string> words;  ///< of its name
    std::vector<JSONValue> values;   ///< all texts, or all integers; no value twice
    std::string description;
};

/// The words of the name of a value in an enumeration: {"wish", "list"} for "wish-list",
/// {"value", "240"} for 240 and {"minus", "1"} for -1.
[[nodiscard]] std::vector<std::string> wordsOfValue(const JSONValue& value);

/// The types of an event: what is the same in all languages.
struct EventType {
    SchemaName name;
    std::string path;                ///< of the schema, for messages
    std::vector<std::string> words;  ///< of its name: {"add", "to", "cart"}
    std::string title, description;
    /// A record comes behind the records that it refers to; the last one is the event itself.
    std::vector<Record> records;
    std::vector<Enumeration> enumerations;
};

/// The types of a schema. Each valid value can be said with them, except integers that are not in
/// the range of 64 bits, signed. What leads back into itself is JSON.
///
/// Records and enumerations of the same name that are alike are one. Their names come from the
/// definition or the property that they were found at first; an element of a list has the name of
/// the list and "item". Where names are the same, the outer properties come in front, as many as
/// are needed; and then a number.
///
/// Throws `CommandError` for a document that is no schema of an object, or leads to too many types.
[[nodiscard]] EventType eventTypeOf(const SchemaFile& schema);

/// Adds the version to the words of the name, as it is necessary if an id has several versions:
/// {"add", "to", "cart", "v2"}.
void addVersionToName(EventType& event);

/// The types of all schemas, by id and version. If an id has several versions, each has its version
/// in its name. Throws `CommandError` also if two events have the same name.
[[nodiscard]] std::vector<EventType> eventTypesOf(std::span<const SchemaFile> schemas);

}  // namespace zentara::schemas
