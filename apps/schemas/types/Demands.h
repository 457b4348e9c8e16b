#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/KeywordValues.h"
#include "schemas/References.h"
#include "schemas/types/Work.h"

namespace zentara::schemas {

/// Kinds of values, a bit each: `zentara::kinds`.
using Kinds = unsigned;

/// A schema that a value must meet.
struct Demand {
    const JSONObject* schema = nullptr;
    std::string pointer;
    bool orNull = false;     ///< null meets it, too
    std::string definition;  ///< its name, if a reference has led here
};
/// All the schemas that a value must meet.
using Demands = std::vector<Demand>;

/// Finds them. The document must outlive it.
class DemandFinder {
  public:
    DemandFinder(const JSONObject& document, Work& work) : references_(document), work_(work) {}

    /// Adds the schemas that references, "allOf" and single choices lead to. Leaves out those that
    /// say no more.
    [[nodiscard]] Demands expand(Demands demands);

    /// The pointer to a schema below a keyword; `outer` itself if it would be long.
    [[nodiscard]] std::string pointerTo(const std::string& outer, std::string_view keyword,
                                        std::string_view component);

  private:
    void addReference(const Demand& demand, Demands& found);
    void addAllOf(const Demand& demand, Demands& found);
    /// Returns whether there are choices among several schemas.
    bool addChoices(const Demand& demand, Demands& found);

    References references_;
    Work& work_;
};

/// The kinds that "type" permits everywhere.
[[nodiscard]] Kinds permittedKinds(const Demands& demands);

/// The values that "enum" permits, apart from null; takes null from the kinds if it is not among
/// them. Nothing without "enum".
[[nodiscard]] std::optional<std::vector<JSONValue>> enumeratedValues(const Demands& demands,
                                                                     Kinds& kinds, Work& work);

/// The kinds of the values that equal it in an enumeration, as far as they are numbers.
[[nodiscard]] Kinds kindOf(const JSONValue& value);

/// Empty if it is no text.
[[nodiscard]] inline std::string textUnder(const JSONValue* value) {
    return std::string(textOf(value).value_or(""));
}

}  // namespace zentara::schemas
