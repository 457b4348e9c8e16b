#pragma once

#include <string>
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

}  // namespace zentara::schemas
