#pragma once

#include <zentara/JSONValue.h>

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zentara::track {

/// An event as a line of input describes it.
struct EventLine {
    std::string schemaId;
    std::string schemaVersion;
    std::string contentType = "application/json";
    std::string url;
    std::string referer;
    JSONObject properties;
    std::optional<std::string> relationId;
    std::vector<std::string> unknownMembers;  ///< ignored; probably misspelt

    [[nodiscard]] std::string schema() const { return schemaId + "-" + schemaVersion; }
};

/// The reason why a line is not an event.
struct UnreadableLine {
    std::string reason;
};

/// Reads a JSON object with "schemaId" and "schemaVersion", and optionally "contentType", "url",
/// "referer", "properties" and "relationId"; null is the same as absence.
[[nodiscard]] std::variant<EventLine, UnreadableLine> readEventLine(std::string_view line);

}  // namespace zentara::track
