#pragma once

#include <span>

#include "json/JSONValue.h"
#include "schemas/check/FindingList.h"
#include "schemas/check/SchemaGraph.h"
#include "schemas/check/Summary.h"

namespace zentara::schemas {

/// Checks how the subschemas of a document work together, once each has been checked: endless
/// references, costs, "numericString", unused definitions.
void checkDocument(const JSONObject& document, const SchemaGraph& graph,
                   std::span<const Summary> summaries, FindingList& findings);

}  // namespace zentara::schemas
