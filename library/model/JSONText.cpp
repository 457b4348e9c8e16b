#include "model/JSONText.h"

#include <array>
#include <boost/json/parser.hpp>
#include <memory>
#include <new>
#include <utility>

#include "model/JSONWriter.h"
#include "platform/PlatformError.h"

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

ParsedJSON parseJSON(std::string_view text, boost::json::storage_ptr storage) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());

    boost::json::parse_options options;
    options.max_depth = maximumJSONDepth;
    // The parser's own scratch space: enough for most documents without the heap.
    std::array<unsigned char, 4096> scratch;
    boost::json::parser parser(storage, options, scratch.data(), scratch.size());
    boost::json::error_code code;
    try {
        parser.write(text.data(), text.size(), code);
    } catch (const std::bad_alloc&) {
        // Small texts can need much: a document is not worth the process.
        return failure(0, "not enough memory");
    }
    if (code) return failure(code.value(), code.message());
    ParsedJSON parsed{parser.release(), nullptr};
    if (!parsed.value.is_object() && !parsed.value.is_array()) {
        return failure(0, "the top level is neither an object nor an array");
    }
    return parsed;
}

}  // namespace zentara
