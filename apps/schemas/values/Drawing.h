#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/values/SchemaIndex.h"

namespace zentara::schemas {

enum class Style : std::uint8_t {
    pleasant,  ///< for people: every property, plausible values
    complete,  ///< every property, any values
    varied,
};

/// A part of a value, with what it was drawn for.
struct Place {
    std::size_t outer = 0;   ///< the position of the array or object around it; its own at the root
    std::string name;        ///< of a member
    std::size_t index = 0;   ///< of an element
    std::uint64_t path = 0;  ///< identifies the place across drawings
    JointSchemas demands;
    unsigned kinds = kinds::all;
};

struct Drawn {
    JSONValue value;
    std::vector<Place> places;  ///< an outer one comes before the inner ones

    /// Where `value` holds the part; null when it does not.
    [[nodiscard]] static JSONValue* part(JSONValue& value, const std::vector<Place>& places,
                                         std::size_t place);
};

/// Draws a value by the structure of its schema, then draws some parts of it again. Every part has
/// random numbers of its own, so that the others stay as they are.
class Drawing {
  public:
    Drawing(const SchemaIndex& index, std::uint64_t seed, Style style)
        : index_(index), seed_(seed), style_(style) {}

    /// `kinds`: what the whole may be.
    [[nodiscard]] Drawn draw(unsigned kinds);

    /// The next drawing differs at these parts of the last one.
    void redraw(const Drawn& drawn, const MessagePlaces& refused);

    /// A value for some subschemas of the document.
    [[nodiscard]] JSONValue drawFor(const JointSchemas& demands, std::string_view name);

  private:
    struct Context {
        std::size_t outer;
        std::uint64_t path;
        std::uint64_t seed;
        std::size_t depth;
        std::string_view name;
    };

    JSONValue value(JointSchemas demands, unsigned kinds, Context context, std::size_t index = 0);
    JointSchemas expanded(JointSchemas demands, Random& random, bool isPleasant) const;
    unsigned chosenKind(const JointSchemas& all, unsigned kinds, Random& random,
                        const Context& context, bool isPleasant) const;
    std::optional<JSONValue> listed(const JointSchemas& all, unsigned kinds, std::uint64_t position,
                                    bool isPleasant) const;
    JSONValue array(const JointSchemas& all, Random& random, const Context& context,
                    bool isPleasant);
    JSONValue object(JointSchemas& all, Random& random, const Context& context, bool isPleasant);
    /// The names of an object's members. Adds demands that depend on them.
    std::vector<std::string> names(JointSchemas& all, Random& random, const Context& context,
                                   bool isPleasant);
    [[nodiscard]] bool leadsBack(const JointSchemas& demands) const;

    const SchemaIndex& index_;
    std::uint64_t seed_;
    Style style_;
    std::unordered_map<std::uint64_t, std::uint64_t> again_;  ///< how often, by path
    std::vector<const JSONObject*> open_;                     ///< the schemas of the values around
    Drawn drawn_;
    std::size_t budget_ = 0;
};

}  // namespace zentara::schemas
