#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <zentara/JSONValue.h>
#include "support/Status.h"

namespace zentara {

/// Turns a type into a JSON dictionary and back. Records have `toDictionary` and `fromDictionary`;
/// for other types there are specialisations. Decoding is strict: the first required key that is
/// missing, null or of another kind ends it. Unknown keys are ignored.
template <typename Record>
struct JSONCoding {
    static JSONObject toDictionary(const Record& record) { return record.toDictionary(); }
    static Result<Record> fromDictionary(const JSONObject& dictionary) {
        return Record::fromDictionary(dictionary);
    }
};

template <typename Record>
concept JSONCodable = requires(const Record& record, const JSONObject& dictionary) {
    { JSONCoding<Record>::toDictionary(record) } -> std::same_as<JSONObject>;
    { JSONCoding<Record>::fromDictionary(dictionary) } -> std::same_as<Result<Record>>;
};

/// A string travels as {"value": string}.
template <>
struct JSONCoding<std::string> {
    struct DecodingError final : Error {
        [[nodiscard]] std::string description() const override;
    };

    static JSONObject toDictionary(const std::string& string);
    static Result<std::string> fromDictionary(const JSONObject& dictionary);
};

/// A dictionary travels as itself.
template <>
struct JSONCoding<JSONObject> {
    static JSONObject toDictionary(const JSONObject& dictionary) { return dictionary; }
    static Result<JSONObject> fromDictionary(JSONObject dictionary) { return dictionary; }
};

/// A string-to-string dictionary in key order.
using StringMap = std::map<std::string, std::string>;

// Each reads one member of a record into `field` and returns false, with `field` as it was, when
// the member is missing or of another kind.

[[nodiscard]] bool readMember(const JSONObject& record, std::string_view key, std::string& field);
/// A number that holds an integer exactly, 2.0 included.
[[nodiscard]] bool readMember(const JSONObject& record, std::string_view key, std::int64_t& field);
/// An object whose values are all strings.
[[nodiscard]] bool readMember(const JSONObject& record, std::string_view key, StringMap& field);
/// An object.
[[nodiscard]] bool readMember(const JSONObject& record, std::string_view key,
                              std::shared_ptr<const JSONValue>& field);
/// Always true: a member that is missing or no string gives nothing.
[[nodiscard]] bool readMember(const JSONObject& record, std::string_view key,
                              std::optional<std::string>& field);

}  // namespace zentara
