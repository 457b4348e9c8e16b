#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "schemas/types/EventType.h"
#include "schemas/types/Names.h"

namespace zentara::schemas {

/// Code under construction, line by line.
class Writer {
  public:
    /// Adds lines, separated by line breaks, with the indentation; without a text, an empty one.
    void line(std::string_view text = {});

    /// Adds both parts as a line if there is room for it, otherwise the second on a line of its
    /// own.
    void breakable(std::string_view first, std::string_view second);

    /// Adds the text as comments that begin with `mark`, such as "/// ", in lines of at most 100
    /// characters.
    void comment(std::string_view mark, std::string_view text);

    void indent() { depth_ += 4; }
    void outdent() { depth_ -= 4; }

    [[nodiscard]] const std::string& text() const noexcept { return text_; }

  private:
    std::size_t depth_ = 0;  ///< in blanks
    std::string text_;
};

/// The text in lines of at most `width` characters, except for longer words. Without what compilers
/// reject or take for a part of the code: control characters, marks of the writing direction, and a
/// backslash at the end of a line.
[[nodiscard]] std::vector<std::string> commentLines(std::string_view text, std::size_t width);

/// A literal for C, C++ and, behind an "@", Objective-C. A zero is "\000".
[[nodiscard]] std::string literalInC(std::string_view text);
[[nodiscard]] std::string literalInPython(std::string_view text);

/// The text that `textOf` makes of each item, with commas in between.
template <typename Items, typename TextOf>
[[nodiscard]] std::string listed(const Items& items, const TextOf& textOf) {
    std::string text;
    for (const auto& item : items)
        text.append(text.empty() ? "" : ", ").append(textOf(item));
    return text;
}

/// A literal of 64 bits for C and the languages that come from it.
[[nodiscard]] std::string integerInC(std::int64_t value);
/// In the form of a floating-point number; nothing is lost.
[[nodiscard]] std::string numberText(double value);

/// What the schema requires of a value beyond its type, in words: "1 to 20." Empty if nothing.
[[nodiscard]] std::string limitsOf(const ValueType& type);

/// Whether null is permitted, and more than one of the values of `json`.
[[nodiscard]] bool canBeNull(const ValueType& type);

/// The position of a value in an enumeration. Throws `std::out_of_range` if it is not there.
[[nodiscard]] std::size_t positionIn(const Enumeration& enumeration, const JSONValue& value);

/// The names of the values of an enumeration. Throws as `Scope::add`; `what` begins the message.
[[nodiscard]] std::vector<std::string> namesOfValues(
    const Enumeration& enumeration, std::string_view what, NameStyle style,
    std::span<const std::string_view> reserved = {});

/// The global names of an event's types and functions, where a prefix stands for the scope.
class GlobalNames {
  public:
    GlobalNames(const EventType& event, Scope& globals) : event_(event), globals_(globals) {}

    /// Takes the name. Throws as `Scope::add`.
    std::string take(const std::string& name) {
        return globals_.add(event_.name.key() + ": " + name, std::span(&name, 1),
                            NameStyle::lowerSnake);
    }

    /// The words of the event and of a type in it, as an identifier.
    [[nodiscard]] std::string typeName(const std::vector<std::string>& words,
                                       NameStyle style) const {
        auto all = event_.words;
        all.insert(all.end(), words.begin(), words.end());
        return identifier(all, style);
    }

  private:
    const EventType& event_;
    Scope& globals_;
};

/// The names of an enumeration and its values, or of a record and its members.
template <typename Member>
struct TypeNamesIn {
    std::string name;
    std::vector<Member> members;
};

/// Where a record is defined, for messages.
[[nodiscard]] std::string placeOf(const EventType& event, const Record& record);

/// Whether `name` in the code is merely another style of a text in JSON.
[[nodiscard]] bool isPlainlyCalled(std::string_view key, std::string_view name);

/// The comment for a member that is called `name` in the code: the property's description, its
/// limits, why it is JSON, and its name in JSON unless it is plainly called that.
[[nodiscard]] std::string commentOf(const Property& property, std::string_view name);

/// The comment for a type: its title, and its description.
[[nodiscard]] std::string paragraphs(std::string_view title, std::string_view description);

}  // namespace zentara::schemas
