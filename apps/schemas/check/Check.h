#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "schemas/files/SchemaFile.h"
#include "schemas/files/SourceMap.h"

namespace zentara::schemas {

enum class Severity : std::uint8_t { warning, fault };

/// What `check` looks for. The numbers never change their meaning: "ZS1xx" are faults, "ZS2xx"
/// warnings.
struct Rule {
    std::string_view number;   ///< "ZS103"
    std::string_view name;     ///< "unknown-format"
    std::string_view summary;  ///< a sentence
    Severity severity;
};

/// All rules, by number.
[[nodiscard]] std::span<const Rule> rules() noexcept;

struct Finding {
    const Rule* rule = nullptr;  ///< one of `rules()`
    std::string pointer;         ///< of the keyword, in the document
    Position position;
    std::string reason;  ///< a sentence: what the engine will do
    std::string advice;  ///< a sentence: what to write instead

    [[nodiscard]] bool isFault() const noexcept { return rule->severity == Severity::fault; }
};

/// What the library's engine will make of a schema, in the order of the text. Takes time linear to
/// the document, apart from the measured cost of its patterns; at most about a second.
[[nodiscard]] std::vector<Finding> check(const SchemaFile& schema);

}  // namespace zentara::schemas
