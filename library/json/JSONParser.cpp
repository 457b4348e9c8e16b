#include "json/JSONParser.h"

#include <algorithm>
#include <boost/json/basic_parser_impl.hpp>
#include <charconv>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace zentara {

namespace {

using ErrorCode = boost::json::error_code;
using Text = boost::json::string_view;

/// `number` is what Boost makes of `text`: with few digits and no exponent the quotient of two
/// numbers that a double holds exactly, which is the nearest double. Otherwise it may be another.
double nearestDouble(double number, std::string_view text) noexcept {
    constexpr std::size_t fewDigits = 15;
    const bool isNearest = text.size() <= fewDigits && text.find_first_of("eE") == text.npos;
    // Beyond the range of doubles nothing is assigned.
    if (!isNearest) std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// Takes what the parser finds, and builds the values of it.
class Builder {
  public:
    static constexpr std::size_t max_object_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_array_size = max_object_size;
    static constexpr std::size_t max_key_size = max_object_size;
    static constexpr std::size_t max_string_size = max_object_size;

    explicit Builder(std::size_t mostValues) : left_(mostValues) {}

    [[nodiscard]] JSONValue release() { return std::move(root_); }

    // Named by the parser.
    bool on_document_begin(ErrorCode&) { return true; }
    bool on_document_end(ErrorCode&) { return true; }
    bool on_object_begin(ErrorCode&) { return open(JSONObject()); }
    bool on_object_end(std::size_t, ErrorCode& error) { return close(error); }
    bool on_array_begin(ErrorCode&) { return open(JSONArray()); }
    bool on_array_end(std::size_t, ErrorCode& error) { return close(error); }
    bool on_key_part(Text part, std::size_t, ErrorCode&) { return append(part); }
    bool on_key(Text rest, std::size_t, ErrorCode& error) {
        append(rest);
        keys_.push_back(std::exchange(text_, {}));
        // It takes as much as a value.
        return count(error);
    }
    bool on_string_part(Text part, std::size_t, ErrorCode&) { return append(part); }
    bool on_string(Text rest, std::size_t, ErrorCode& error) {
        append(rest);
        return put(std::exchange(text_, {}), error);
    }
    bool on_number_part(Text, ErrorCode&) { return true; }
    bool on_int64(std::int64_t number, Text, ErrorCode& error) { return put(number, error); }
    bool on_uint64(std::uint64_t number, Text, ErrorCode& error) { return put(number, error); }
    bool on_double(double number, Text text, ErrorCode& error) {
        return put(nearestDouble(number, {text.data(), text.size()}), error);
    }
    bool on_bool(bool value, ErrorCode& error) { return put(value, error); }
    bool on_null(ErrorCode& error) { return put(nullptr, error); }
    bool on_comment_part(Text, ErrorCode&) { return true; }
    bool on_comment(Text, ErrorCode&) { return true; }

  private:
    bool append(Text part) {
        text_.append(part.data(), part.size());
        return true;
    }
    bool open(JSONValue container) {
        open_.push_back(std::move(container));
        return true;
    }
    bool close(ErrorCode& error) {
        JSONValue value = std::move(open_.back());
        open_.pop_back();
        return put(std::move(value), error);
    }
    bool put(JSONValue value, ErrorCode& error) {
        if (open_.empty()) {
            root_ = std::move(value);
        } else if (auto* const array = open_.back().ifArray()) {
            array->push_back(std::move(value));
        } else {
            open_.back().object().set(keys_.back(), std::move(value));
            keys_.pop_back();
        }
        return count(error);
    }
    /// One value more.
    bool count(ErrorCode& error) {
        if (left_-- != 0) return true;
        error = boost::json::error::array_too_large;
        return false;
    }

    std::size_t left_;
    std::string text_;
    std::vector<std::string> keys_;
    std::vector<JSONValue> open_;
    JSONValue root_;
};

}  // namespace

Result<JSONValue> parseJSONValue(std::string_view text, JSONLimits limits) {
    boost::json::parse_options options;
    options.max_depth = limits.depth;
    boost::json::basic_parser<Builder> parser(options, limits.values);
    ErrorCode error;
    // All of it in one call, so that numbers come in one part.
    const auto read = parser.write_some(false, text.data(), text.size(), error);
    if (!error && read < text.size()) error = boost::json::error::extra_data;
    if (!error) return parser.handler().release();
    auto cause = JSONError::Cause::malformed;
    if (error == boost::json::error::too_deep) cause = JSONError::Cause::tooDeep;
    if (error == boost::json::error::array_too_large) cause = JSONError::Cause::tooManyValues;
    return std::make_shared<JSONError>(cause, error.message());
}

JSONValue JSONValue::parse(std::string_view text) {
    auto value = parseJSONValue(text, {.depth = 2 * maximumJSONDepth});
    if (!value.ok()) throw std::invalid_argument(value.error()->description());
    return *std::move(value);
}

Result<JSONValue> parseJSON(std::string_view text, JSONLimits limits) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
    auto value = parseJSONValue(text, limits);
    if (value.ok() && !value->isObject() && !value->isArray()) {
        return std::make_shared<JSONError>(JSONError::Cause::wrongTopLevel,
                                           "the top level is neither an object nor an array");
    }
    return value;
}

}  // namespace zentara
