#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "schemas/check/SchemaGraph.h"
#include "schemas/check/Summary.h"

namespace zentara::schemas {

/// A subschema with the format "numericString" that the engine may apply to other values.
struct FatalFormat {
    SchemaGraph::Position node;
    std::uint16_t reached;    ///< kinds of values, not strings, that may be applied
    std::uint16_t permitted;  ///< those among them that a valid event may have here
};

/// Follows the engine with the kinds of values. It checks "format" and "$ref" before "type", and
/// all keywords of a subschema; but under "anyOf", "oneOf" and "not" a subschema ends at its first
/// failure, and "anyOf" at the first subschema that passes. Events are objects.
[[nodiscard]] std::vector<FatalFormat> fatalFormats(const SchemaGraph& graph,
                                                    std::span<const Summary> summaries);

}  // namespace zentara::schemas
