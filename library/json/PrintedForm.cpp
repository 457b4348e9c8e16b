#include <string>
#include <string_view>
#include <utility>

#include "json/JSONText.h"
#include "support/WorkLimits.h"

namespace zentara {

namespace {

/// Prints a value behind the end of a text, or only counts the bytes when there is no text.
class Printer {
  public:
    Printer(std::string* text, std::size_t most) : text_(text), most_(most) {}

    [[nodiscard]] std::size_t size() const noexcept { return size_; }

    // NOLINTNEXTLINE(misc-no-recursion)
    void print(const JSONValue& value, int depth) {
        if (size_ > most_) return;
        switch (value.kind()) {
            case JSONValue::Kind::null:
                return add("<null>");
            case JSONValue::Kind::boolean:
                return add(value.boolean() ? "true" : "false");
            case JSONValue::Kind::integer:
                return add(std::to_string(value.integer()));
            case JSONValue::Kind::unsignedInteger:
                return add(std::to_string(value.unsignedInteger()));
            case JSONValue::Kind::number: {
                std::string digits;
                appendDouble(digits, value.number());
                return add(digits);
            }
            case JSONValue::Kind::string:
                return quote(value.string());
            case JSONValue::Kind::array:
            case JSONValue::Kind::object:
                break;
        }
        if (isTooDeep(depth)) return add("...");
        std::string_view separator = "[";
        if (const auto* const array = value.ifArray()) {
            for (const auto& element : *array) {
                add(std::exchange(separator, ", "));
                print(element, depth + 1);
            }
            return add(array->empty() ? "[]" : "]");
        }
        for (const auto& [key, member] : value.object()) {
            add(std::exchange(separator, ", "));
            quote(key);
            add(": ");
            print(member, depth + 1);
        }
        add(value.object().empty() ? "[:]" : "]");
    }

  private:
    void add(std::string_view piece) {
        size_ += piece.size();
        if (text_ != nullptr) *text_ += piece;
    }

    void quote(std::string_view text) {
        constexpr std::string_view escaped("\"\\\n\r\t\0", 6);
        constexpr std::string_view letters = "\"\\nrt0";
        add("\"");
        for (;;) {
            const auto plain = text.substr(0, text.find_first_of(escaped));
            add(plain);
            if (plain.size() == text.size()) return add("\"");
            const char escape[] = {'\\', letters[escaped.find(text[plain.size()])]};
            add({escape, sizeof escape});
            text.remove_prefix(plain.size() + 1);
        }
    }

    std::string* const text_;
    const std::size_t most_;
    std::size_t size_ = 0;
};

}  // namespace

std::size_t printedSize(const JSONValue& value, std::size_t most) {
    if (const auto string = value.ifString()) return string->size();
    Printer printer(nullptr, most);
    printer.print(value, 0);
    return printer.size();
}

void appendPrinted(std::string& text, const JSONValue& value) {
    if (const auto string = value.ifString()) {
        text += *string;
    } else {
        Printer(&text, std::string::npos).print(value, 0);
    }
}

}  // namespace zentara
