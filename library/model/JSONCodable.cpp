#include "model/JSONCodable.h"

namespace zentara {

std::string JSONCoding<std::string>::DecodingError::description() const {
    return "the dictionary does not hold a string";
}

JSONObject JSONCoding<std::string>::toDictionary(const std::string& string) {
    return {{"value", string}};
}

Result<std::string> JSONCoding<std::string>::fromDictionary(const JSONObject& dictionary) {
    std::string value;
    if (!readMember(dictionary, "value", value)) return std::make_shared<DecodingError>();
    return value;
}

bool readMember(const JSONObject& record, std::string_view key, std::string& field) {
    const auto* const value = record.find(key);
    const auto string = value == nullptr ? std::nullopt : value->ifString();
    if (string) field = *string;
    return string.has_value();
}

bool readMember(const JSONObject& record, std::string_view key, std::int64_t& field) {
    const auto* const value = record.find(key);
    const auto integer = value == nullptr ? std::nullopt : value->asInteger();
    field = integer.value_or(field);
    return integer.has_value();
}

bool readMember(const JSONObject& record, std::string_view key, StringMap& field) {
    const auto* const value = record.find(key);
    if (value == nullptr || !value->isObject()) return false;
    StringMap strings;
    for (const auto& [name, member] : value->object()) {
        const auto string = member.ifString();
        if (!string) return false;
        strings.emplace(name, *string);
    }
    field = std::move(strings);
    return true;
}

bool readMember(const JSONObject& record, std::string_view key,
                std::shared_ptr<const JSONValue>& field) {
    const auto* const value = record.find(key);
    if (value == nullptr || !value->isObject()) return false;
    field = std::make_shared<const JSONValue>(*value);
    return true;
}

bool readMember(const JSONObject& record, std::string_view key, std::optional<std::string>& field) {
    std::string text;
    if (readMember(record, key, text)) field = std::move(text);
    return true;
}

}  // namespace zentara
