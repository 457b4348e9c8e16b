#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <zentara/JSONValue.h>
#include "support/Status.h"

namespace zentara {

/// How a type becomes a JSON dictionary and back. Records bring `toDictionary` and
/// `fromDictionary` of their own; types that cannot are specialised below. Decoding is strict: the
/// first required key that is missing, null or of another kind ends it; unknown keys are ignored.
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

/// Reads the fields of one record. The first field that is not there as asked for makes the reader
/// fail; fields read after that are empty.
class RecordReader {
  public:
    explicit RecordReader(const JSONObject& dictionary) : dictionary_(dictionary) {}

    [[nodiscard]] std::string string(std::string_view key);
    /// A number that holds an integer exactly, 2.0 included.
    [[nodiscard]] std::int64_t integer(std::string_view key);
    [[nodiscard]] const JSONObject* object(std::string_view key);
    [[nodiscard]] const JSONArray* arrayOfObjects(std::string_view key);
    [[nodiscard]] StringMap strings(std::string_view key);
    /// Nothing when missing or of another kind; never a failure.
    [[nodiscard]] std::optional<std::string> optionalString(std::string_view key) const;

    [[nodiscard]] bool failed() const noexcept { return failed_; }

  private:
    const JSONValue* required(std::string_view key);

    const JSONObject& dictionary_;
    bool failed_ = false;
};

}  // namespace zentara
