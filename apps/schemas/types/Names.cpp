#include "schemas/types/Names.h"

#include <algorithm>

#include "schemas/files/SchemaFile.h"
#include "support/ASCII.h"

namespace zentara::schemas {

namespace {

bool isUpperCase(char character) {
    return isLetter(character) && lowerCase(character) != character;
}

char upperCase(char character) {
    return isLetter(character) ? static_cast<char>(lowerCase(character) - 'a' + 'A') : character;
}

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char character) { return upperCase(character); });
    return text;
}

/// Whether a word begins at `position`, which is not the first of its letters and digits.
bool beginsWord(std::string_view text, std::size_t position) {
    if (!isUpperCase(text[position])) return false;
    if (!isUpperCase(text[position - 1])) return true;
    // The last capital of "HTTPCode" belongs to the next word.
    return position + 1 < text.size() && isLetter(text[position + 1]) &&
           !isUpperCase(text[position + 1]);
}

}  // namespace

std::vector<std::string> wordsOf(std::string_view text) {
    std::vector<std::string> words;
    bool isInside = false;
    for (std::size_t position = 0; position < text.size(); ++position) {
        const bool isPart = isLetter(text[position]) || isDigit(text[position]);
        if (isPart && (!isInside || beginsWord(text, position))) words.emplace_back();
        if (isPart) words.back() += lowerCase(text[position]);
        isInside = isPart;
    }
    return words;
}

std::string identifier(std::span<const std::string> words, NameStyle style) {
    static const std::string value = "value";
    if (words.empty()) words = {&value, 1};
    const bool isSnake = style == NameStyle::lowerSnake || style == NameStyle::upperSnake;
    std::string name;
    for (const auto& word : words) {
        const bool isFirst = name.empty();
        const bool isBetweenDigits = !isFirst && isDigit(name.back()) && isDigit(word.front());
        if (isFirst ? isDigit(word.front()) : isSnake || isBetweenDigits) name += '_';
        const auto first = name.size();
        name += style == NameStyle::upperSnake ? upperCase(word) : word;
        if (style == NameStyle::upperCamel || (style == NameStyle::lowerCamel && !isFirst))
            name[first] = upperCase(name[first]);
    }
    return name;
}

bool isIdentifier(std::string_view text) {
    const auto isPart = [](char character) {
        return isLetter(character) || isDigit(character) || character == '_';
    };
    return !text.empty() && !isDigit(text.front()) && std::all_of(text.begin(), text.end(), isPart);
}

std::vector<std::string> partsOf(std::string_view scope) {
    std::vector<std::string> parts;
    for (auto end = scope.find("::"); end != std::string_view::npos; end = scope.find("::")) {
        parts.emplace_back(scope.substr(0, end));
        scope.remove_prefix(end + 2);
    }
    parts.emplace_back(scope);
    return parts;
}

bool isScope(std::string_view text) {
    const auto parts = partsOf(text);
    return std::all_of(parts.begin(), parts.end(), isIdentifier);
}

Scope::Scope(std::string_view what, std::span<const std::string_view> reserved)
    : what_(what), reserved_(reserved) {}

std::string Scope::add(std::string_view original, std::span<const std::string> words,
                       NameStyle style) {
    auto name = identifier(words, style);
    if (std::find(reserved_.begin(), reserved_.end(), name) != reserved_.end()) name += '_';
    const auto [known, isNew] = originals_.try_emplace(name, original);
    if (!isNew && known->second != original) {
        throw CommandError(what_ + ": \"" + known->second + "\" and \"" + std::string(original) +
                           "\" would both be called " + name);
    }
    return name;
}

}  // namespace zentara::schemas
