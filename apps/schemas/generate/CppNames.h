#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "schemas/generate/Generators.h"
#include "schemas/types/EventType.h"

namespace zentara::schemas {

/// The names of an event's types in C++, at the positions that they have in the event.
struct CppNames {
    struct OfRecord {
        std::string type;
        std::vector<std::string> members;  ///< of the properties
        std::string others;                ///< of the member for free properties
    };
    struct OfEnumeration {
        std::string type;
        std::vector<std::string> choices;
    };

    /// Throws `CommandError` for names that cannot be told apart.
    explicit CppNames(const EventType& event);

    std::string event;
    std::vector<OfRecord> records;
    std::vector<OfEnumeration> enumerations;
};

/// The namespace of `names`. Throws `CommandError` if C++ or the generated code cannot have it.
[[nodiscard]] std::string cppNamespace(const GeneratedNames& names);

/// The bytes of the character at the start of UTF-8 text, if it changes the direction of writing or
/// separates lines; otherwise 0. Compilers warn about them.
[[nodiscard]] std::size_t hiddenCharacter(std::string_view text) noexcept;

/// A text as a literal of C++.
[[nodiscard]] std::string cppLiteral(std::string_view text);

}  // namespace zentara::schemas
