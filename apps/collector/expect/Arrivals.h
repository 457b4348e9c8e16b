#pragma once

#include <zentara/CollectorClient.h>

#include <string>
#include <vector>

namespace zentara::collector {

/// Lines about what a collector has received instead of what was expected: the latest events that
/// match `selection` but for one of its members, otherwise those of its schema; the latest bad
/// events of the schema with their messages; the latest posts that were refused; the counts by
/// schema.
[[nodiscard]] std::string whatArrivedInstead(const CollectorClient& collector,
                                             const EventSelection& selection);

/// Lines about the first of `events`.
[[nodiscard]] std::string eventLines(const std::vector<JSONObject>& events);

}  // namespace zentara::collector
