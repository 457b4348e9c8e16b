#include "json/JSONText.h"

#include <limits>

#include "json/JSONWriter.h"

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

}  // namespace

std::string JSONValue::text() const {
    std::string text;
    // Without a limit and with null for what JSON cannot hold, it does not fail.
    (void)JSONWriter(text, JSONWriter::NotFinite::null)
        .value(*this, std::numeric_limits<std::size_t>::max());
    return text;
}

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

}  // namespace zentara
