#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>

#include "json/JSONParser.h"

namespace zentara {

/// How deep the properties of an event may be nested. The event itself is three levels deep in an
/// envelope: the envelope, its list of actions, the action.
inline constexpr std::size_t maximumPropertiesDepth = maximumJSONDepth - 3;

/// Appends compact JSON text to a string: UTF-8, "/" not escaped. The string must not be used until
/// the writer is destroyed.
///
/// An event consists of some 150 short pieces. Appending each to the string took longer than
/// writing them: it checks the capacity and terminates the string every time. The writer makes the
/// string longer than needed and cuts it at the end.
class JSONWriter {
  public:
    explicit JSONWriter(std::string& text) : text_(text) { cut(text.size()); }
    ~JSONWriter() { text_.resize(length()); }
    JSONWriter(const JSONWriter&) = delete;
    JSONWriter& operator=(const JSONWriter&) = delete;

    /// The length of the text so far.
    [[nodiscard]] std::size_t length() const noexcept {
        return static_cast<std::size_t>(next_ - text_.data());
    }
    /// Removes what was written behind `length`.
    void cut(std::size_t length) {
        next_ = text_.data() + length;
        end_ = text_.data() + text_.size();
    }

    void text(std::string_view raw) {
        makeRoom(raw.size());
        put(raw);
    }
    void string(std::string_view value);
    template <std::integral Integer>
    void integer(Integer number) {
        makeRoom(longestNumber);
        next_ = std::to_chars(next_, end_, number).ptr;
    }
    void number(double number);
    /// False when JSON cannot hold the value: null was written for NaN and infinities, nothing for
    /// what is nested deeper than `depth`.
    [[nodiscard]] bool value(const JSONValue& value, std::size_t depth) {
        isExact_ = true;
        write(value, depth);
        return isExact_;
    }

  private:
    /// More than any number takes: 24 characters, or 22 and ".0".
    static constexpr std::size_t longestNumber = 32;

    void makeRoom(std::size_t size) {
        if (static_cast<std::size_t>(end_ - next_) < size) grow(size);
    }
    void grow(std::size_t size);
    void put(char character) { *next_++ = character; }
    void put(std::string_view raw) { next_ += raw.copy(next_, raw.size()); }
    void write(const JSONValue& value, std::size_t depth);

    std::string& text_;
    char* next_ = nullptr;
    char* end_ = nullptr;
    bool isExact_ = true;
};

/// Appends the compact text of `value`, doubles as `appendDouble` writes them so that they read
/// back as doubles. Returns false, with `text` as it was, when JSON cannot hold the value: NaN, an
/// infinity, or a nesting deeper than `depth`.
[[nodiscard]] bool appendJSON(std::string& text, const JSONValue& value,
                              std::size_t depth = maximumJSONDepth);

/// Appends a JSON string literal.
void appendJSONString(std::string& text, std::string_view value);

/// Appends the shortest text that reads back as `number`: decimal with at least one fractional
/// digit ("5.0") while 0.0001 <= |number| <= 2^53 or for zero, exponential ("1e+16", "1e-05")
/// otherwise; "nan", "inf" and "-inf" for what is not finite.
void appendDouble(std::string& text, double number);

/// Appends `value` as validation messages and cookies show it: a bare string without quotes,
/// integers in decimal, doubles as `appendDouble` writes them, true and false, <null>,
/// lists ["a", 1] and [], dictionaries ["k": 1] and [:], strings inside them quoted. What is nested
/// too deep (`isTooDeep`) prints as three dots.
void appendPrinted(std::string& text, const JSONValue& value);

/// How many bytes `appendPrinted` appends. Stops counting beyond `most`.
[[nodiscard]] std::size_t printedSize(const JSONValue& value, std::size_t most);

/// `object` with ill-formed UTF-8 in its texts and keys replaced by U+FFFD; of keys that become
/// equal the last gives the value. What is nested deeper than a document may be stays as it is: it
/// is refused later.
[[nodiscard]] JSONObject withValidUTF8(JSONObject object);

}  // namespace zentara
