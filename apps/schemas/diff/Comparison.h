#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/values/Sampler.h"

namespace zentara::schemas {

/// What a change of a schema means for the values that it accepts.
enum class Change : std::uint8_t {
    none,        ///< nothing that the engine looks at
    compatible,  ///< written differently, accepts the same values
    wider,       ///< what was valid stays valid; nothing says that this is all
    narrower,    ///< something that was valid is not any more
    both,        ///< some values are not valid any more, others are now
    unknown,     ///< could not be decided
};

/// "none", "compatible" and so on.
[[nodiscard]] std::string_view changeName(Change change) noexcept;

/// A change at one place of the schema.
struct Difference {
    std::string pointer;  ///< in the new document; in the old one for what is removed
    std::string
        property;  ///< of the event, for people: "lines[].quantity"; "" for the event itself
    Change change = Change::unknown;
    std::string reason;  ///< a sentence: what changed
};

struct Comparison {
    Change change = Change::none;  ///< of the schema as a whole
    std::vector<Difference> differences;
    /// A value that only the old, or only the new schema accepts, as the engine has confirmed.
    std::optional<JSONValue> onlyOld, onlyNew;
};

/// Compares two documents, for the values that an event can have or for all. "Wider" and
/// "compatible" are proven from the keywords, "narrower" and "both" by a value that the engine
/// refused; all else is unknown.
[[nodiscard]] Comparison compare(const JSONObject& before, const JSONObject& after,
                                 Sampler::Values values = Sampler::Values::properties);

}  // namespace zentara::schemas
