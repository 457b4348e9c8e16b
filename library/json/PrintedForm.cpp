#include "json/PrintedForm.h"

#include <string_view>

#include "json/JSONText.h"
#include "support/WorkLimits.h"

namespace zentara {

namespace {

constexpr int maximumDepth = 1024;
constexpr std::size_t leastStackSpace = 64 * 1024;
constexpr int levelsPerStackCheck = 16;

/// Takes the place of a text of which only the size matters.
class Counter {
  public:
    explicit Counter(std::size_t most) : most_(most) {}

    Counter& operator+=(char) {
        ++size_;
        return *this;
    }
    Counter& operator+=(std::string_view text) {
        size_ += text.size();
        return *this;
    }

    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] bool isFull() const noexcept { return size_ > most_; }

  private:
    std::size_t most_;
    std::size_t size_ = 0;
};

bool isFull(const std::string& /*text*/) {
    return false;
}
bool isFull(const Counter& counter) {
    return counter.isFull();
}

void appendNumber(std::string& text, double number) {
    appendDouble(text, number);
}
void appendNumber(Counter& counter, double number) {
    std::string text;
    appendDouble(text, number);
    counter += text;
}

template <typename Text>
void appendQuoted(Text& text, std::string_view string) {
    text += '"';
    for (const char c : string) {
        switch (c) {
            case '"':
            case '\\':
                text += '\\';
                text += c;
                break;
            case '\n':
                text += "\\n";
                break;
            case '\r':
                text += "\\r";
                break;
            case '\t':
                text += "\\t";
                break;
            case '\0':
                text += "\\0";
                break;
            default:
                text += c;
        }
    }
    text += '"';
}

template <typename Text>
void append(Text& text, const JSONValue& value, int depth) {
    if (isFull(text)) return;
    switch (value.kind()) {
        case JSONValue::Kind::null:
            text += "<null>";
            return;
        case JSONValue::Kind::boolean:
            text += value.boolean() ? "true" : "false";
            return;
        case JSONValue::Kind::integer:
            text += std::to_string(value.integer());
            return;
        case JSONValue::Kind::unsignedInteger:
            text += std::to_string(value.unsignedInteger());
            return;
        case JSONValue::Kind::number:
            appendNumber(text, value.number());
            return;
        case JSONValue::Kind::string:
            appendQuoted(text, value.string());
            return;
        case JSONValue::Kind::array:
        case JSONValue::Kind::object:
            break;
    }
    const bool isStackShort =
        depth % levelsPerStackCheck == 0 && remainingStackSpace() < leastStackSpace;
    if (depth == 0 || isStackShort) {
        text += "...";
        return;
    }
    text += '[';
    std::string_view separator;
    if (const auto* const array = value.ifArray()) {
        for (const auto& element : *array) {
            text += separator;
            separator = ", ";
            append(text, element, depth - 1);
        }
    } else {
        const auto& object = value.object();
        if (object.empty()) text += ':';
        for (const auto& member : object) {
            text += separator;
            separator = ", ";
            appendQuoted(text, member.key());
            text += ": ";
            append(text, member.value(), depth - 1);
        }
    }
    text += ']';
}

}  // namespace

std::size_t printedSize(const JSONValue& value, std::size_t most) {
    if (const auto string = value.ifString()) return string->size();
    Counter counter(most);
    append(counter, value, maximumDepth);
    return counter.size();
}

void appendPrinted(std::string& text, const JSONValue& value) {
    if (const auto string = value.ifString()) {
        text += std::string_view(*string);
    } else {
        append(text, value, maximumDepth);
    }
}

}  // namespace zentara
