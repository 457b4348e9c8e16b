#include "json/JSONParser.h"

#include <algorithm>
#include <array>
#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/value_stack.hpp>
#include <charconv>
#include <cstdint>
#include <system_error>
#include <utility>

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
    static constexpr std::size_t max_object_size = JSONObject::max_size();
    static constexpr std::size_t max_array_size = JSONArray::max_size();
    static constexpr std::size_t max_key_size = boost::json::string::max_size();
    static constexpr std::size_t max_string_size = boost::json::string::max_size();

    Builder(std::size_t mostValues, boost::json::storage_ptr storage, unsigned char* scratch,
            std::size_t size)
        : left_(mostValues), values_({}, scratch, size) {
        values_.reset(std::move(storage));
    }

    [[nodiscard]] JSONValue release() { return values_.release(); }

    // Named by the parser.
    bool on_document_begin(ErrorCode&) { return true; }
    bool on_document_end(ErrorCode&) { return true; }
    bool on_object_begin(ErrorCode&) { return true; }
    bool on_object_end(std::size_t size, ErrorCode& error) {
        values_.push_object(size);
        return count(error);
    }
    bool on_array_begin(ErrorCode&) { return true; }
    bool on_array_end(std::size_t size, ErrorCode& error) {
        values_.push_array(size);
        return count(error);
    }
    bool on_key_part(Text part, std::size_t, ErrorCode&) {
        values_.push_chars(part);
        return true;
    }
    bool on_key(Text rest, std::size_t, ErrorCode& error) {
        values_.push_key(rest);
        // It takes as much as a value.
        return count(error);
    }
    bool on_string_part(Text part, std::size_t, ErrorCode&) {
        values_.push_chars(part);
        return true;
    }
    bool on_string(Text rest, std::size_t, ErrorCode& error) {
        values_.push_string(rest);
        return count(error);
    }
    bool on_number_part(Text, ErrorCode&) { return true; }
    bool on_int64(std::int64_t number, Text, ErrorCode& error) {
        values_.push_int64(number);
        return count(error);
    }
    bool on_uint64(std::uint64_t number, Text, ErrorCode& error) {
        values_.push_uint64(number);
        return count(error);
    }
    bool on_double(double number, Text text, ErrorCode& error) {
        values_.push_double(nearestDouble(number, {text.data(), text.size()}));
        return count(error);
    }
    bool on_bool(bool value, ErrorCode& error) {
        values_.push_bool(value);
        return count(error);
    }
    bool on_null(ErrorCode& error) {
        values_.push_null();
        return count(error);
    }
    bool on_comment_part(Text, ErrorCode&) { return true; }
    bool on_comment(Text, ErrorCode&) { return true; }

  private:
    /// One value more.
    bool count(ErrorCode& error) {
        if (left_-- != 0) return true;
        error = boost::json::error::array_too_large;
        return false;
    }

    std::size_t left_;
    boost::json::value_stack values_;
};

}  // namespace

JSONValue parseDocument(std::string_view text, ErrorCode& error, boost::json::storage_ptr storage,
                        DocumentLimits limits) {
    boost::json::parse_options options;
    options.max_depth = limits.depth;
    // Enough for most documents without the heap.
    std::array<unsigned char, 4096> scratch;
    boost::json::basic_parser<Builder> parser(options, limits.values, std::move(storage),
                                              scratch.data(), scratch.size());
    // All of it in one call, so that numbers come in one part.
    const auto read = parser.write_some(false, text.data(), text.size(), error);
    if (!error && read < text.size()) error = boost::json::error::extra_data;
    return error ? JSONValue() : parser.handler().release();
}

}  // namespace zentara
