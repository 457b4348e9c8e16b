#include "json/JSONText.h"

#include <array>
#include <memory>
#include <utility>

#include "json/JSONParser.h"
#include "json/JSONWriter.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

template <typename Value>
bool appendWhole(std::string& text, const Value& value, std::size_t depth) {
    JSONWriter writer(text);
    const auto start = writer.length();
    if (writer.value(value, depth)) return true;
    writer.cut(start);
    return false;
}

ParsedJSON failure(int code, std::string message) {
    return {JSONValue(), std::make_shared<PlatformError>(PlatformError::Domain::json, code,
                                                         "JSON: " + std::move(message))};
}

}  // namespace

void appendDouble(std::string& text, double number) {
    JSONWriter(text).number(number);
}

void appendJSONString(std::string& text, std::string_view value) {
    JSONWriter(text).string(value);
}

bool appendJSON(std::string& text, const JSONValue& value, std::size_t depth) {
    return appendWhole(text, value, depth);
}

bool appendJSON(std::string& text, const JSONObject& object, std::size_t depth) {
    return appendWhole(text, object, depth);
}

ParsedJSON parseJSON(std::string_view text, boost::json::storage_ptr storage,
                     std::size_t mostValues) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());

    boost::json::error_code code;
    // Constructed and never assigned, so that it stays in its storage.
    ParsedJSON parsed{parseDocument(text, code, std::move(storage), {maximumJSONDepth, mostValues}),
                      nullptr};
    if (code) return failure(code.value(), code.message());
    if (!parsed.value.is_object() && !parsed.value.is_array()) {
        return failure(0, "the top level is neither an object nor an array");
    }
    return parsed;
}

}  // namespace zentara
