#include "schemas/generate/CppNames.h"

#include <algorithm>

#include "schemas/generate/Writer.h"
#include "schemas/types/Names.h"
#include "support/ASCII.h"

namespace zentara::schemas {

namespace {

/// The words of C++20, and macros that common headers and compilers have.
constexpr std::string_view reservedWords[] = {"alignas",
                                              "alignof",
                                              "and",
                                              "and_eq",
                                              "asm",
                                              "assert",
                                              "auto",
                                              "bitand",
                                              "bitor",
                                              "bool",
                                              "break",
                                              "case",
                                              "catch",
                                              "char",
                                              "char16_t",
                                              "char32_t",
                                              "char8_t",
                                              "class",
                                              "co_await",
                                              "co_return",
                                              "co_yield",
                                              "compl",
                                              "concept",
                                              "const",
                                              "const_cast",
                                              "consteval",
                                              "constexpr",
                                              "constinit",
                                              "continue",
                                              "decltype",
                                              "default",
                                              "delete",
                                              "do",
                                              "double",
                                              "dynamic_cast",
                                              "else",
                                              "enum",
                                              "errno",
                                              "explicit",
                                              "export",
                                              "extern",
                                              "false",
                                              "float",
                                              "for",
                                              "friend",
                                              "goto",
                                              "if",
                                              "inline",
                                              "int",
                                              "linux",
                                              "long",
                                              "major",
                                              "minor",
                                              "mutable",
                                              "namespace",
                                              "new",
                                              "noexcept",
                                              "not",
                                              "not_eq",
                                              "nullptr",
                                              "operator",
                                              "or",
                                              "or_eq",
                                              "private",
                                              "protected",
                                              "public",
                                              "register",
                                              "reinterpret_cast",
                                              "requires",
                                              "return",
                                              "short",
                                              "signed",
                                              "sizeof",
                                              "static",
                                              "static_assert",
                                              "static_cast",
                                              "stderr",
                                              "stdin",
                                              "stdout",
                                              "struct",
                                              "switch",
                                              "template",
                                              "this",
                                              "thread_local",
                                              "throw",
                                              "true",
                                              "try",
                                              "typedef",
                                              "typeid",
                                              "typename",
                                              "union",
                                              "unix",
                                              "unsigned",
                                              "using",
                                              "virtual",
                                              "void",
                                              "volatile",
                                              "wchar_t",
                                              "while",
                                              "xor",
                                              "xor_eq"};

bool isIdentifier(std::string_view text) {
    return !text.empty() && !isDigit(text.front()) &&
           std::all_of(text.begin(), text.end(),
                       [](char c) { return isLetter(c) || isDigit(c) || c == '_'; });
}

}  // namespace

CppNames::CppNames(const EventType& type) {
    std::vector<std::string_view> reserved(std::begin(reservedWords), std::end(reservedWords));
    Scope events(type.path, reserved);
    event = events.add(type.name.key(), type.words, NameStyle::upperCamel);
    // A type in the event cannot have its name, nor a member the name of a type.
    reserved.push_back(event);
    const auto withoutTypes = reserved;
    Scope types(type.path, withoutTypes);
    for (const auto& each : type.enumerations) {
        const auto original = "enumeration " + std::to_string(enumerations.size());
        enumerations.push_back(
            {types.add(original, each.words, NameStyle::upperCamel),
             namesOfValues(each, type.path, NameStyle::lowerCamel, withoutTypes)});
    }
    for (const auto& each : type.records) {
        const auto original = "record " + std::to_string(records.size());
        const bool isEvent = &each == &type.records.back();
        records.push_back(
            {isEvent ? event : types.add(original, each.words, NameStyle::upperCamel), {}, {}});
    }
    for (const auto& each : enumerations)
        reserved.push_back(each.type);
    for (const auto& each : records)
        reserved.push_back(each.type);
    for (std::size_t position = 0; position < records.size(); ++position) {
        auto& names = records[position];
        Scope members(placeOf(type, type.records[position]), reserved);
        for (const auto& property : type.records[position].properties)
            names.members.push_back(
                members.add(property.key, wordsOf(property.key), NameStyle::lowerCamel));
        names.others = "otherProperties";
        while (std::find(names.members.begin(), names.members.end(), names.others) !=
               names.members.end())
            names.others += '_';
    }
}

std::string cppNamespace(const GeneratedNames& names) {
    std::string_view rest = names.scope;
    while (!rest.empty()) {
        const auto end = rest.find("::");
        const auto part = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 2);
        const bool isReserved = part == "std" || part == "zentara" ||
                                std::find(std::begin(reservedWords), std::end(reservedWords),
                                          part) != std::end(reservedWords);
        if (!isIdentifier(part) || isReserved || (end != std::string_view::npos && rest.empty())) {
            throw CommandError('"' + names.scope + "\" cannot be a namespace of C++");
        }
    }
    return names.scope;
}

std::size_t hiddenCharacter(std::string_view text) noexcept {
    if (text.size() < 3) return 0;
    const auto last = static_cast<unsigned char>(text[2]);
    const bool isMark = text.starts_with("\xE2\x80") && last >= 0x8E && last <= 0xAE;
    const bool isIsolate = text.starts_with("\xE2\x81") && last >= 0xA6 && last <= 0xA9;
    // Punctuation lies between the marks.
    return (isMark && (last <= 0x8F || last >= 0xA8)) || isIsolate ? 3 : 0;
}

std::string cppLiteral(std::string_view text) {
    std::string literal = "\"";
    std::size_t hidden = 0;  // bytes of such a character that are left
    for (std::size_t position = 0; position < text.size(); ++position) {
        const char c = text[position];
        const auto byte = static_cast<unsigned char>(c);
        if (hidden == 0) hidden = hiddenCharacter(text.substr(position));
        if (byte < 0x20 || byte == 0x7F || hidden > 0) {
            // Octal, which has at most three digits.
            literal += '\\';
            literal += static_cast<char>('0' + (byte >> 6U));
            literal += static_cast<char>('0' + (byte >> 3U & 7U));
            literal += static_cast<char>('0' + (byte & 7U));
            hidden -= hidden > 0 ? 1 : 0;
            continue;
        }
        // Two question marks could begin a trigraph.
        const bool isSecond = c == '?' && position > 0 && text[position - 1] == '?';
        if (c == '"' || c == '\\' || isSecond) literal += '\\';
        literal += c;
    }
    return literal + '"';
}

}  // namespace zentara::schemas
