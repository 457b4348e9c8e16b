#pragma once

#include <vector>

#include "schemas/types/EventType.h"

namespace zentara::schemas {

/// An event and values that its schema accepts.
struct DrawnEvent {
    SchemaFile schema;
    EventType type;
    std::vector<JSONObject> values;
};

/// What is drawn for a language.
struct Draw {
    std::size_t randomSchemas;
    std::size_t valuesEach;
};
inline constexpr Draw drawForC{40, 12};
inline constexpr Draw drawForObjC{15, 8};
inline constexpr Draw drawForPython{200, 10};

/// Events of the example schemas, of a schema with everything that a language may stumble upon, and
/// of random ones. The same for the same draw.
[[nodiscard]] std::vector<DrawnEvent> drawnEvents(const Draw& draw);

[[nodiscard]] std::vector<EventType> typesOf(const std::vector<DrawnEvent>& events);

}  // namespace zentara::schemas
