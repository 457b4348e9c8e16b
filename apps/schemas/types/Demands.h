#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/types/Work.h"

namespace zentara::schemas {

/// Kinds of values, a bit each.
using Kinds = unsigned;
inline constexpr Kinds textKind = 1;
inline constexpr Kinds integerKind = 2;
inline constexpr Kinds fractionKind = 4;
inline constexpr Kinds booleanKind = 8;
inline constexpr Kinds nullKind = 16;
inline constexpr Kinds objectKind = 32;
inline constexpr Kinds listKind = 64;
inline constexpr Kinds numberKinds = integerKind | fractionKind;
inline constexpr Kinds allKinds = 127;

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
    DemandFinder(const JSONObject& document, Work& work) : document_(document), work_(work) {}

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

    const JSONObject& document_;
    Work& work_;
};

/// The kinds that "type" permits everywhere.
[[nodiscard]] Kinds permittedKinds(const Demands& demands);

/// The values that "enum" permits, apart from null; takes null from the kinds if it is not among
/// them. Nothing without "enum".
[[nodiscard]] std::optional<std::vector<JSONValue>> enumeratedValues(const Demands& demands,
                                                                     Kinds& kinds, Work& work);

[[nodiscard]] Kinds kindOf(const JSONValue& value);

/// The schemas of a list; nothing if the engine would ignore it.
[[nodiscard]] const JSONArray* schemasUnder(const JSONObject& schema, std::string_view keyword);
/// The schemas of a dictionary; nothing if the engine would ignore it.
[[nodiscard]] const JSONObject* dictionaryUnder(const JSONObject& schema, std::string_view keyword);
[[nodiscard]] std::string textUnder(const JSONObject& schema, std::string_view keyword);
[[nodiscard]] bool isTrue(const JSONObject& schema, std::string_view keyword);

}  // namespace zentara::schemas
