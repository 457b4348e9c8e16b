#include "model/JSONCodable.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace zentara {

std::string JSONCoding<std::string>::DecodingError::description() const {
    return "the dictionary does not hold a string";
}

JSONObject JSONCoding<std::string>::toDictionary(const std::string& string) {
    return {{"value", string}};
}

Result<std::string> JSONCoding<std::string>::fromDictionary(const JSONObject& dictionary) {
    RecordReader reader(dictionary);
    auto value = reader.string("value");
    if (reader.failed()) return std::make_shared<DecodingError>();
    return value;
}

const JSONValue* RecordReader::required(std::string_view key) {
    if (failed_) return nullptr;
    const auto* value = dictionary_.find(key);
    failed_ = value == nullptr;
    return value;
}

std::string RecordReader::string(std::string_view key) {
    const auto* value = required(key);
    const auto string = value == nullptr ? std::nullopt : value->ifString();
    failed_ = !string;
    return failed_ ? std::string() : std::string(*string);
}

std::int64_t RecordReader::integer(std::string_view key) {
    const auto* value = required(key);
    const auto integer = value == nullptr ? std::nullopt : value->asInteger();
    failed_ = !integer;
    return integer.value_or(0);
}

const JSONObject* RecordReader::object(std::string_view key) {
    const auto* value = required(key);
    const auto* object = value == nullptr ? nullptr : value->ifObject();
    failed_ = object == nullptr;
    return object;
}

const JSONArray* RecordReader::arrayOfObjects(std::string_view key) {
    const auto* value = required(key);
    const auto* array = value == nullptr ? nullptr : value->ifArray();
    failed_ =
        array == nullptr || !std::all_of(array->begin(), array->end(),
                                         [](const auto& element) { return element.isObject(); });
    return failed_ ? nullptr : array;
}

StringMap RecordReader::strings(std::string_view key) {
    StringMap strings;
    const auto* members = object(key);
    if (members == nullptr) return strings;
    for (const auto& [name, value] : *members) {
        const auto string = value.ifString();
        if (!string) {
            failed_ = true;
            return {};
        }
        strings.emplace(name, *string);
    }
    return strings;
}

std::optional<std::string> RecordReader::optionalString(std::string_view key) const {
    const auto* value = dictionary_.find(key);
    const auto string = value == nullptr ? std::nullopt : value->ifString();
    if (!string) return std::nullopt;
    return std::string(*string);
}

}  // namespace zentara
