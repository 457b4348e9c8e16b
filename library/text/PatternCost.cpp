#include "text/PatternCost.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <algorithm>

#include "support/ASCII.h"

namespace zentara {

namespace {

// In nanoseconds, measured with the slowest known texts.
constexpr std::int64_t timePerOperation = 4;
constexpr std::int64_t timePerWordBoundary = 36;
constexpr std::int64_t timePerComparedUnit = 2;
constexpr std::int64_t timePerFoldedUnit = 20;
constexpr std::int64_t timePerBrokenUnit = 10;
constexpr std::size_t frameBytesPerNanosecond = 4;

/// The flags behind the "(?" at the start of `text`.
std::string_view flagsOf(std::string_view text) noexcept {
    text.remove_prefix(2);
    const auto end =
        std::find_if_not(text.begin(), text.end(), [](char c) { return c == '-' || isLetter(c); });
    return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

/// The longest run of combining characters: a search for a word boundary steps over it.
std::size_t longestCombiningRow(const UTF16Text& text) {
    std::size_t longest = 0;
    std::size_t row = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text.data()[i];
        UChar32 character = unit;
        if (U16_IS_LEAD(unit) && i + 1 < text.size() && U16_IS_TRAIL(text.data()[i + 1])) {
            character = U16_GET_SUPPLEMENTARY(unit, text.data()[++i]);
        }
        const bool combines = (character == 0xAD || character >= 0x300) &&
                              (u_hasBinaryProperty(character, UCHAR_GRAPHEME_EXTEND) ||
                               u_charType(character) == U_FORMAT_CHAR);
        row = combines ? row + 1 : 0;
        longest = std::max(longest, row);
    }
    return longest;
}

}  // namespace

PatternCost::PatternCost(std::string_view pattern) noexcept : size_(pattern.size()) {
    bool isWithinBrackets = false;
    bool hasNestedBrackets = pattern.find("[]") != std::string_view::npos;
    bool isPlain = true;
    std::size_t ranges = 0;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        const char next = i + 1 < pattern.size() ? pattern[i + 1] : '\0';
        if (static_cast<unsigned char>(c) >= 0x80) {
            isPlain = false;
        } else if (c == '[') {
            ++sets_;
            if (next == ':') ++largeSets_;
            hasNestedBrackets = hasNestedBrackets || isWithinBrackets;
            isWithinBrackets = true;
        } else if (c == ']') {
            isWithinBrackets = false;
        } else if (c == '-') {
            ++ranges;
        } else if (isOneOf(c, "*+{")) {
            ++repetitions_;
            ++slots_;
        } else if (isOneOf(c, "(^$")) {
            ++assertions_;
            if (c != '(') continue;
            ++slots_;
            if (next != '?') continue;
            const auto flags = flagsOf(pattern.substr(i));
            ignoresCase_ = ignoresCase_ || flags.find('i') != std::string_view::npos;
            if (flags.find('w') != std::string_view::npos) ++wordRules_;
        } else if (c == '\\') {
            ++i;
            if (isOneOf(next, "bB")) ++wordBoundaries_;
            if (isOneOf(next, "AGZz")) ++assertions_;
            if (isOneOf(next, "123456789k")) ++backReferences_;
            if (next == 'X') ++clusters_;
            // ICU has sets for \w and the like, which it copies into brackets.
            if (isOneOf(next, sets_ > 0 ? "pPNwWSDHV" : "pPN")) ++largeSets_;
            if (sets_ > 0 && isOneOf(next, "dshv")) ++sets_;
            isPlain = isPlain && !isOneOf(next, "xuU0cNQ");
        }
    }
    // If case is ignored, creating a set of many characters takes long. A range beyond plain ASCII
    // may be such a set, and so may a negated set within another.
    if (ignoresCase_) largeSets_ += (isPlain ? 0 : ranges) + (hasNestedBrackets ? sets_ : 0);
}

bool PatternCost::isTooHigh() const noexcept {
    constexpr std::size_t mostSets = 2'000;
    constexpr std::size_t mostLargeSets = 1'000;
    constexpr std::size_t mostLargeSetsIgnoringCase = 15;
    constexpr std::size_t mostRepetitions = 2'000;
    return size_ > longestPattern || sets_ > mostSets || repetitions_ > mostRepetitions ||
           largeSets_ > (ignoresCase_ ? mostLargeSetsIgnoringCase : mostLargeSets);
}

std::size_t PatternCost::compiledSize() const noexcept {
    constexpr std::size_t bytesPerExpression = 4096;
    constexpr std::size_t bytesPerPatternByte = 40;
    constexpr std::size_t bytesPerSet = 1024;
    constexpr std::size_t bytesPerLargeSet = 9 * 1024;
    return bytesPerExpression + bytesPerPatternByte * size_ + bytesPerSet * sets_ +
           bytesPerLargeSet * largeSets_;
}

std::int64_t PatternCost::timePerState(const UTF16Text& text, std::int64_t piece) const {
    const auto units = std::min(text.size(), static_cast<std::size_t>(piece));
    const auto times = [](std::int64_t time, std::size_t count) {
        return time * static_cast<std::int64_t>(count);
    };
    // The text is consumed no more often than it has units.
    auto time =
        times(timePerOperation, assertions_ + std::min(size_, text.size())) +
        static_cast<std::int64_t>(frameSize() / frameBytesPerNanosecond) +
        times(ignoresCase_ ? timePerFoldedUnit : timePerComparedUnit, backReferences_ * units) +
        times(timePerBrokenUnit, clusters_ * text.size());
    if (wordBoundaries_ > 0) {
        time += wordRules_ > 0 ? times(timePerBrokenUnit, wordBoundaries_ * text.size())
                               : times(timePerWordBoundary, wordBoundaries_) *
                                     static_cast<std::int64_t>(1 + longestCombiningRow(text));
    }
    return time;
}

}  // namespace zentara
