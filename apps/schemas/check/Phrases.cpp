#include "schemas/check/Phrases.h"

#include <cmath>
#include <vector>

#include "json/JSONText.h"
#include "schemas/SchemaNodes.h"

namespace zentara::schemas {

std::string inQuotes(std::string_view text) {
    constexpr std::size_t longest = 60;
    if (text.size() <= longest) return '"' + std::string(text) + '"';
    auto end = longest;
    while ((static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80)
        --end;
    return '"' + std::string(text.substr(0, end)) + "…\"";
}

std::string shown(double number) {
    std::string text;
    if (std::trunc(number) == number && std::abs(number) < 0x1p53)
        return std::to_string(static_cast<std::int64_t>(number));
    appendDouble(text, number);
    return text;
}

std::string namesOf(std::uint16_t set) {
    std::vector<std::string> names;
    const auto add = [&](std::uint16_t kind, const char* name) {
        if ((set & kind) != 0) names.emplace_back(name);
    };
    add(kinds::null, "null");
    add(kinds::boolean, "a boolean");
    add(kinds::number, "a number");
    add(kinds::string, "a text");
    add(kinds::array, "an array");
    add(kinds::object, "an object");
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i > 0) text += i + 1 == names.size() ? " or " : ", ";
        text += names[i];
    }
    return text;
}

}  // namespace zentara::schemas
