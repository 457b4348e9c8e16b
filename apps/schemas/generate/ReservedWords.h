#pragma once

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace zentara::schemas {

/// The words of C and C++, and the macros in lower case of their libraries and compilers.
inline constexpr std::string_view wordsOfC =
    "alignas alignof and and_eq asm assert auto bitand bitor bool break case catch char char16_t "
    "char32_t char8_t class co_await co_return co_yield compl complex concept const const_cast "
    "consteval constexpr constinit continue decltype default delete do double dynamic_cast else "
    "enum errno explicit export extern false float for friend goto i386 if imaginary inline int "
    "linux long mutable namespace new noexcept noreturn not not_eq nullptr operator or or_eq "
    "private protected public register reinterpret_cast requires restrict return short signed "
    "sizeof static static_assert static_cast stderr stdin stdout struct switch template this "
    "thread_local throw true try typedef typeid typename typeof union unix unsigned using virtual "
    "void volatile wchar_t while xor xor_eq";

/// What Objective-C adds, and the methods without arguments that every object has.
inline constexpr std::string_view wordsOfObjC =
    "id in inout out bycopy byref oneway self super nil atomic nonatomic instancetype nonnull "
    "nullable strong weak copy retain assign readonly readwrite getter setter "
    "alloc allocWithZone attributeKeys autoContentAccessingProxy autorelease beginContentAccess "
    "classCode classDescription classForArchiver classForCoder classForKeyedArchiver "
    "classForPortCoder className dealloc debugDescription description discardContentIfPossible "
    "endContentAccess finalize hash init initialize isContentDiscarded isInstance isProxy load "
    "makeImmutable mutableCopy objectSpecifier observationInfo release retainCount "
    "scriptingProperties sizeInBytes sizeOfInstance superclass toManyRelationshipKeys "
    "toOneRelationshipKeys version zone";

/// The words of Python, and the types that generated code names.
inline constexpr std::string_view wordsOfPython =
    "and as assert async await bool break case class continue def del dict elif else except float "
    "finally for from global if import in int is lambda list match nonlocal not object or pass "
    "raise return self str super try type while with yield";

/// The words of these lists.
[[nodiscard]] inline std::vector<std::string_view> wordsIn(
    std::initializer_list<std::string_view> lists) {
    std::vector<std::string_view> words;
    for (auto list : lists) {
        while (!list.empty()) {
            const auto end = std::min(list.find(' '), list.size());
            words.push_back(list.substr(0, end));
            list.remove_prefix(std::min(end + 1, list.size()));
        }
    }
    return words;
}

}  // namespace zentara::schemas
