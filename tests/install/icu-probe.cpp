// Prints what ICU makes of every property of characters, and of patterns and texts that need its
// data in other ways, one line each: equal data prints equal lines.
#include <unicode/uchar.h>
#include <unicode/uregex.h>
#include <unicode/uset.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace {

std::u16string units(const std::string& ascii) {
    return {ascii.begin(), ascii.end()};
}

void printSet(const std::string& pattern) {
    UErrorCode status = U_ZERO_ERROR;
    const auto text = units("[\\p{" + pattern + "}]");
    USet* const set = uset_openPattern(text.data(), static_cast<int>(text.size()), &status);
    std::size_t hash = 0;
    for (int i = 0; U_SUCCESS(status) && i < uset_getItemCount(set); ++i) {
        UChar32 item[2] = {0, 0};
        char16_t string[64] = {};
        uset_getItem(set, i, &item[0], &item[1], string, 64, &status);
        for (const auto code : item)
            hash = hash * 31 + static_cast<std::size_t>(code);
        for (const auto unit : string)
            hash = hash * 31 + unit;
    }
    std::printf("%s: %s %zx\n", pattern.c_str(), u_errorName(status), hash);
    uset_close(set);
}

void printMatches(const char* pattern, const std::u16string& text) {
    UErrorCode status = U_ZERO_ERROR;
    const auto compiled = units(pattern);
    auto* const expression =
        uregex_open(compiled.data(), static_cast<int>(compiled.size()), 0, nullptr, &status);
    std::printf("%s:", pattern);
    uregex_setText(expression, text.data(), static_cast<int>(text.size()), &status);
    while (uregex_findNext(expression, &status))
        std::printf(" %d", uregex_start(expression, 0, &status));
    std::printf(" %s\n", U_SUCCESS(status) ? "done" : u_errorName(status));
    uregex_close(expression);
}

}  // namespace

int main() {
    for (int number = 0; number < 0x8000; ++number) {
        const auto property = static_cast<UProperty>(number);
        const char* const name = u_getPropertyName(property, U_LONG_PROPERTY_NAME);
        if (name == nullptr) continue;
        printSet(name);
        const int last = std::min(u_getIntPropertyMaxValue(property), 1000);
        for (int value = u_getIntPropertyMinValue(property); value <= last; ++value) {
            const auto* const known = u_getPropertyValueName(property, value, U_LONG_PROPERTY_NAME);
            if (known != nullptr) printSet(std::string(name) + '=' + known);
        }
        for (const char* const value : {"1/2", "6.0", "LATIN SMALL LETTER A"})
            printSet(std::string(name) + '=' + value);
    }
    for (const char* const pattern :
         {"\\X", "(?w)\\b", "\\b", "\\w+", "\\d", "\\s", "\\h", "\\R", "\\N{LATIN SMALL LETTER A}",
          "(?i)stra\\x{df}e", "(?i)[\\x{df}\\x{fb01}]", "(?i)\\p{Lu}", "[[:alpha:]]"}) {
        printMatches(pattern,
                     u"Don't, 3.14 e\u0301 STRASSE fi \u0130 \U0001F468\u200D\U0001F469 "
                     u"\u0915\u094D\u0937 \U0001F1E9\U0001F1EA\r\n");
        printMatches(pattern,
                     u"\u0e2a\u0e27\u0e31\u0e2a\u0e14\u0e35\u0e0a\u0e32\u0e27\u0e42\u0e25"
                     u"\u0e01 \u4f60\u597d\u4e16\u754c\u65e5\u672c\u8a9e "
                     u"\u1787\u17c6\u179a\u17b6\u1794\u179f\u17bd\u179a "
                     u"\u0eaa\u0eb0\u0e9a\u0eb2\u0e8d\u0e94\u0eb5 "
                     u"\u1019\u103c\u1014\u103a\u1019\u102c\u1005\u102c");
    }
}
