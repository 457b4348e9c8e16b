#pragma once

#include <zentara/JSONValue.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zentara::collector {

/// What was seen of each property in the events of a schema.
///
/// Bounded whatever the events hold: of properties that the schema does not have, the first
/// `mostOthers` with paths of at most `longestPath` bytes are counted; of each property, the first
/// `mostValues` different values, by their first `longestValue` bytes. Not thread-safe.
class PropertyStatistics {
  public:
    static constexpr std::size_t mostOthers = 500;
    static constexpr std::size_t longestPath = 512;
    static constexpr std::size_t mostValues = 200;
    static constexpr std::size_t longestValue = 100;
    static constexpr std::size_t mostListed = 10;  ///< values of a property in the result

    PropertyStatistics() : properties_(1) {}

    enum class Need { optional, required };

    /// Adds a property of the schema, whether it will be seen or not. "*" in its path stands for
    /// the elements of an array.
    void declare(const std::vector<std::string>& path, Need need);

    /// Counts an event, in JSON.
    void add(std::string_view event);

    /// The properties of the schema in their order, then the others by path. "values" are the most
    /// frequent, "otherValues" counts those that are not listed:
    ///     {"path": "lines.*.quantity", "declared": true, "required": true, "present": 2,
    ///      "types": {"integer": 3},
    ///      "values": [{"value": "1", "type": "integer", "count": 2}], "otherValues": 1}
    /// A path is as filters name it; if they cannot, there is "unnamed": true. A value of which
    /// only the beginning is known has "cut": true.
    [[nodiscard]] JSONArray result() const;

    /// Whether events held properties that were not counted.
    [[nodiscard]] bool hasMore() const { return hasMore_; }

  private:
    struct Value {
        JSONValue::Kind kind;
        std::string text;
        bool isCut;

        auto operator<=>(const Value&) const = default;
    };

    struct Property {
        std::string path;
        std::size_t depth = 0;
        bool isUnnamed = false;
        bool isDeclared = false;
        bool isRequired = false;
        std::uint64_t lastEvent = 0;
        std::uint64_t present = 0;  ///< events
        std::map<std::string_view, std::uint64_t> types;
        std::map<Value, std::uint64_t> values;
        std::uint64_t uncounted = 0;  ///< values beyond `mostValues`
        std::map<std::string, Property*, std::less<>> members;
        Property* elements = nullptr;
    };

    [[nodiscard]] Property* member(Property& parent, std::string_view name);
    [[nodiscard]] Property* elements(Property& parent);
    [[nodiscard]] Property* make(const Property& parent, std::string_view name);
    void look(Property& property, const JSONValue& value);
    void lookInside(Property& property, const JSONValue& value);
    static void countValue(Property& property, const JSONValue& value);
    [[nodiscard]] static JSONObject resultOf(const Property& property);

    std::deque<Property> properties_;  // the first is the root
    std::size_t declared_ = 0;
    std::uint64_t events_ = 0;
    bool isDeclaring_ = false;
    bool hasMore_ = false;
};

}  // namespace zentara::collector
