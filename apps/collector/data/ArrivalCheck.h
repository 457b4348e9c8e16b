#pragma once

#include <zentara/JSONValue.h>
#include <vector>

#include "collector/data/Envelope.h"
#include "collector/data/SchemaCatalogue.h"

namespace zentara {
class Schema;
}  // namespace zentara

namespace zentara::collector {

/// Checks properties against a schema with the library's own engine. Empty when they fit;
/// otherwise the engine's messages in its order, each with the path of its value. Beyond 1,000
/// messages the last gives the number of the others. Takes bounded time and memory, like the
/// engine. Any thread.
[[nodiscard]] std::vector<Finding> checkProperties(const JSONValue& properties,
                                                   const Schema& schema);

/// Checks an event against its schema. A schema that is not in `schemas` is a message too.
[[nodiscard]] std::vector<Finding> checkAction(const Action& action, const SchemaSnapshot& schemas);

/// Checks all events of an envelope, in order.
[[nodiscard]] std::vector<std::vector<Finding>> checkEnvelope(const Envelope& envelope,
                                                              const SchemaSnapshot& schemas);

}  // namespace zentara::collector
