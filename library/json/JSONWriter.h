#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "json/JSONValue.h"

namespace zentara {

/// Writes JSON text behind the end of a string, as the functions of JSONText.h describe it.
///
/// An event is some 150 short pieces. Appending each to the string, which looks for room and puts
/// an end behind it every time, took more than writing them; this gives the string some room ahead
/// and cuts what is left off in the end. Until then the string is not to be touched.
class JSONWriter {
  public:
    /// What is written for NaN and infinities.
    enum class NotFinite { refused, null };

    explicit JSONWriter(std::string& text, NotFinite notFinite = NotFinite::refused)
        : text_(text), notFinite_(notFinite) {
        lookAt(text.size());
    }
    ~JSONWriter() { text_.resize(length()); }
    JSONWriter(const JSONWriter&) = delete;
    JSONWriter& operator=(const JSONWriter&) = delete;

    /// The length of the text so far.
    [[nodiscard]] std::size_t length() const noexcept {
        return static_cast<std::size_t>(next_ - text_.data());
    }
    /// Takes back what was written behind `length`.
    void cut(std::size_t length) { lookAt(length); }

    void text(std::string_view raw) {
        makeRoom(raw.size());
        put(raw);
    }
    void string(std::string_view value);
    void integer(std::int64_t number);
    void number(double number);
    /// False when JSON cannot hold the value; part of it may have been written.
    [[nodiscard]] bool value(const JSONValue& value, std::size_t depth);
    [[nodiscard]] bool value(const JSONObject& object, std::size_t depth);

  private:
    void lookAt(std::size_t length) {
        next_ = text_.data() + length;
        end_ = text_.data() + text_.size();
    }
    void makeRoom(std::size_t size) {
        if (static_cast<std::size_t>(end_ - next_) < size) grow(size);
    }
    void grow(std::size_t size);
    void put(char character) { *next_++ = character; }
    void put(std::string_view raw) { next_ += raw.copy(next_, raw.size()); }
    template <typename Integer>
    void digits(Integer number);
    [[nodiscard]] bool value(const JSONArray& array, std::size_t depth);

    std::string& text_;
    const NotFinite notFinite_;
    char* next_ = nullptr;
    char* end_ = nullptr;
};

}  // namespace zentara
