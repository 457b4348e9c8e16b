#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory_resource>
#include <vector>

#include "json/ObjectEquality.h"
#include "schemas/ValidationRun.h"

// The keywords for lists and for dictionaries.

namespace zentara {

namespace {

constexpr std::size_t unitsPerLookUp = 10;
/// Of the texts that are compared.
constexpr std::size_t bytesPerUnit = 8;

/// How many of the numbers (booleans included) of a list with unique items equal a boolean of the
/// list and are let pass all the same. Nothing when a number other than 0 and 1 is among them.
std::size_t countToleratedBooleans(const JSONArray& array) {
    std::array<bool, 2> asNumber{};
    std::array<bool, 2> asBoolean{};
    for (const auto& element : array) {
        if (const auto boolean = element.ifBoolean()) {
            asBoolean[*boolean ? 1 : 0] = true;
        } else if (const auto number = element.asDouble()) {
            if (*number != 0 && *number != 1) return 0;
            asNumber[*number == 1 ? 1 : 0] = true;
        }
    }
    return (asNumber[0] && asBoolean[0] ? 1U : 0U) + (asNumber[1] && asBoolean[1] ? 1U : 0U);
}

/// Which members of a dictionary, by position, a pattern has covered.
class Positions {
  public:
    explicit Positions(std::size_t count) : many_(count > bits ? count : 0) {}

    void add(std::size_t position) {
        if (many_.empty()) {
            few_ |= std::uint64_t{1} << position;
        } else {
            many_[position] = true;
        }
    }

    [[nodiscard]] bool contains(std::size_t position) const {
        return many_.empty() ? (few_ >> position & 1U) != 0 : many_[position];
    }

  private:
    static constexpr std::size_t bits = 64;

    std::uint64_t few_ = 0;
    std::vector<bool> many_;
};

}  // namespace

bool ValidationRun::minItems(const Check& check, const JSONValue& value) {
    return static_cast<std::int64_t>(value.ifArray()->size()) >= check.integer ||
           fail(value, {"Length of array is smaller than the minimum ", JSONValue(check.integer)});
}

bool ValidationRun::maxItems(const Check& check, const JSONValue& value) {
    return static_cast<std::int64_t>(value.ifArray()->size()) <= check.integer ||
           fail(value, {"Length of array is greater than maximum ", JSONValue(check.integer)});
}

std::size_t ValidationRun::countDistinct(const JSONArray& array) {
    constexpr std::size_t fewElements = 8;
    if (array.size() <= fewElements) {
        std::size_t distinct = 0;
        for (const auto* element = array.begin(); element != array.end(); ++element) {
            const auto equalsElement = [this, element](const JSONValue& earlier) {
                return objectsEqual(earlier, *element, &allowance_);
            };
            if (std::none_of(array.begin(), element, equalsElement)) ++distinct;
        }
        return distinct;
    }

    struct Hashed {
        std::uint64_t hash;
        const JSONValue* value;
    };
    std::array<std::byte, 2048> scratch;
    std::pmr::monotonic_buffer_resource resource(scratch.data(), scratch.size());
    std::pmr::vector<Hashed> hashed(&resource);
    hashed.reserve(array.size());
    for (const auto& element : array) {
        hashed.push_back({objectHash(element, &allowance_), &element});
        // Sorting costs as much again.
        if (!spend(std::int64_t{50})) return 0;
    }
    std::sort(hashed.begin(), hashed.end(),
              [](const Hashed& one, const Hashed& other) { return one.hash < other.hash; });

    std::size_t distinct = 0;
    for (auto group = hashed.begin(); group != hashed.end();) {
        // The different values of one hash are collected at the front of its group.
        auto different = group;
        auto next = group;
        for (; next != hashed.end() && next->hash == group->hash; ++next) {
            const auto equalsNext = [this, next](const Hashed& earlier) {
                return objectsEqual(*earlier.value, *next->value, &allowance_);
            };
            if (std::any_of(group, different, equalsNext)) continue;
            if (allowance_.exhausted()) return 0;
            *different++ = *next;
        }
        distinct += static_cast<std::size_t>(different - group);
        group = next;
    }
    return distinct;
}

bool ValidationRun::uniqueItems(const Check& /*check*/, const JSONValue& value) {
    const auto& array = *value.ifArray();
    const auto distinct = countDistinct(array);
    if (allowance_.exhausted()) return stopForCost();
    if (distinct == array.size()) return true;
    return distinct + countToleratedBooleans(array) == array.size() ||
           fail(value, {value, " does not have unique items"});
}

bool ValidationRun::items(const Check& check, const JSONValue& value) {
    const auto& array = *value.ifArray();
    const auto* const positional = check.flag ? nullptr : nodes_.references.data() + check.first;
    const auto rest = check.flag ? check.first : positional[check.count];
    bool passed = true;
    std::size_t position = 0;
    for (const auto& element : array) {
        const auto node = position < check.count ? positional[position] : rest;
        ++position;
        if (node == SchemaNodes::permitted) break;
        if (!(node == SchemaNodes::forbidden
                  ? fail(element, {"Additional results are not permitted in this array."})
                  : validate(node, element))) {
            passed = false;
            if (isDecided()) break;
        }
    }
    return passed;
}

bool ValidationRun::maxProperties(const Check& check, const JSONValue& value) {
    return static_cast<std::int64_t>(value.ifObject()->size()) <= check.integer ||
           fail(value, {"Amount of properties is greater than maximum permitted"});
}

bool ValidationRun::minProperties(const Check& check, const JSONValue& value) {
    return static_cast<std::int64_t>(value.ifObject()->size()) >= check.integer ||
           fail(value, {"Amount of properties is less than the required amount"});
}

bool ValidationRun::required(const Check& check, const JSONValue& value) {
    const auto& names = nodes_.values[check.first];
    return holdsAll(names, *value.ifObject()) || failForMissing(value, names);
}

bool ValidationRun::holdsAll(const JSONValue& names, const JSONObject& object) {
    const auto isPresent = [&](const JSONValue& listed) {
        const auto name = *listed.ifString();
        return spend(unitsPerLookUp + name.size()) && object.contains(name);
    };
    const auto& list = *names.ifArray();
    return std::all_of(list.begin(), list.end(), isPresent);
}

bool ValidationRun::properties(const Check& check, const JSONValue& value) {
    const auto& members = nodes_.members[check.first];
    const auto& object = *value.ifObject();
    const std::size_t firstMessage = messages_.size();
    std::size_t found = 0;
    const bool passed = object.size() > fewMembers ? namedInLargeObject(members, value, found)
                                                   : namedMembers(members, value, found);
    if (!passed && isDecided()) return false;
    const bool hasOthers = found < object.size() && members.additional != SchemaNodes::permitted;
    if (!hasOthers && members.patternCount == 0) return passed;
    return otherProperties(members, value, firstMessage) && passed;
}

/// The position of the property among those of the node; their number when it is none of them.
SchemaNodes::Position ValidationRun::findProperty(const Members& members, std::string_view name) {
    const auto* const properties = nodes_.properties.data() + members.first;
    const auto nameOf = [&](Position position) {
        return nodes_.text(properties[position].name);
    };
    if (members.count <= fewProperties) {
        if (!spend(members.count * (1 + name.size() / bytesPerUnit))) return members.count;
        for (Position i = 0; i < members.count; ++i) {
            if (isSame(nameOf(i), name)) return i;
        }
        return members.count;
    }
    constexpr std::size_t mostComparisons = 32;
    if (!spend(unitsPerLookUp + mostComparisons * (1 + name.size() / bytesPerUnit)))
        return members.count;
    const auto* const first = nodes_.references.data() + members.byName;
    const auto* const last = first + members.count;
    const auto* const found = std::lower_bound(
        first, last, name,
        [&](Position position, std::string_view wanted) { return nameOf(position) < wanted; });
    return found != last && nameOf(*found) == name ? *found : members.count;
}

/// The members that "properties" names, from the side of the value, but in the order of the schema.
bool ValidationRun::namedMembers(const Members& members, const JSONValue& value,
                                 std::size_t& found) {
    const auto& object = *value.ifObject();
    const auto* const properties = nodes_.properties.data() + members.first;
    std::array<Named, fewMembers> all;
    std::uint32_t count = 0;
    Position expected = 0;
    bool isInOrder = true;
    std::uint64_t present = 0;
    const auto* const first = object.begin();
    const auto size = static_cast<std::uint32_t>(object.size());
    for (std::uint32_t member = 0; member < size; ++member) {
        // Values mostly list their members in the schema's order.
        const auto name = first[member].key();
        auto property = expected;
        if (property >= members.count || !isSame(nodes_.text(properties[property].name), name)) {
            property = findProperty(members, name);
            if (property == members.count) continue;
            isInOrder = isInOrder && property >= expected;
        }
        expected = property + 1;
        present |= std::uint64_t{1} << (property % fewMembers);
        all[count++] = {property, member};
    }
    found = count;
    bool passed = true;
    if ((members.required & ~present) != 0) {
        passed = failForMissing(value, nodes_.values[members.requiredNames]);
        if (isDecided()) return false;
    }
    if (!isInOrder) {
        std::sort(all.begin(), all.begin() + count, [](const Named& one, const Named& other) {
            return one.property < other.property;
        });
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        if (!validate(properties[all[i].property].node, first[all[i].member].value())) {
            passed = false;
            if (isDecided()) break;
        }
    }
    return passed;
}

bool ValidationRun::namedInLargeObject(const Members& members, const JSONValue& value,
                                       std::size_t& found) {
    const auto& object = *value.ifObject();
    bool passed = true;
    if (members.required != 0 && !holdsAll(nodes_.values[members.requiredNames], object)) {
        passed = failForMissing(value, nodes_.values[members.requiredNames]);
        if (isDecided()) return false;
    }
    for (Position i = members.first; i < members.first + members.count; ++i) {
        const auto& property = nodes_.properties[i];
        if (!spend(unitsPerLookUp + property.name.size)) return false;
        const auto* const member = object.find(nodes_.text(property.name));
        if (member == nullptr) continue;
        ++found;
        if (!validate(property.node, *member)) {
            passed = false;
            if (isDecided()) break;
        }
    }
    return passed;
}

bool ValidationRun::otherProperties(const Members& members, const JSONValue& value,
                                    std::size_t firstMessage) {
    const auto& object = *value.ifObject();
    bool passed = true;
    Positions covered(members.patternCount == 0 ? 0 : object.size());
    for (Position i = 0; i < members.patternCount; ++i) {
        const auto& expression = *nodes_.expressions[members.firstPattern + i];
        const bool isValid = expression.isValid(&allowance_);
        if (allowance_.exhausted()) return stopForCost();
        if (!isValid) {
            // Takes the place of everything that this keyword has found so far.
            messages_.resize(firstMessage);
            places_.resize(firstMessage);
            return fail(value, {"[Schema] '", expression.pattern(),
                                "' is not a valid regex pattern for patternProperties"});
        }
        std::size_t position = 0;
        for (const auto& [name, member] : object) {
            const auto current = position++;
            if (!expression.matches(name, &allowance_)) {
                if (allowance_.exhausted()) return stopForCost();
                continue;
            }
            covered.add(current);
            if (!validate(nodes_.references[members.patternNodes + i], member)) {
                passed = false;
                if (isDecided()) return false;
            }
        }
    }
    if (members.additional == SchemaNodes::permitted) return passed;
    std::size_t position = 0;
    for (const auto& [name, member] : object) {
        if (!spend(unitsPerLookUp)) return false;
        const auto current = position++;
        if (members.patternCount != 0 && covered.contains(current)) continue;
        if (findProperty(members, name) < members.count) continue;
        if (allowance_.exhausted()) return stopForCost();
        if (!(members.additional == SchemaNodes::forbidden
                  ? fail(member, {"Additional properties are not permitted in this object."})
                  : validate(members.additional, member))) {
            passed = false;
            if (isDecided()) return false;
        }
    }
    return passed;
}

bool ValidationRun::dependencies(const Check& check, const JSONValue& value) {
    const auto& object = *value.ifObject();
    bool passed = true;
    for (Position i = 0; i < check.count; ++i) {
        const auto& dependency = nodes_.dependencies[check.first + i];
        if (!spend(unitsPerLookUp + dependency.key.size)) return false;
        if (!object.contains(nodes_.text(dependency.key))) continue;
        if (!(dependency.isList ? listedDependencies(dependency, value)
                                : validate(dependency.target, value))) {
            passed = false;
            if (isDecided()) break;
        }
    }
    return passed;
}

bool ValidationRun::listedDependencies(const SchemaNodes::Dependency& dependency,
                                       const JSONValue& value) {
    const auto& object = *value.ifObject();
    bool passed = true;
    for (const auto& name : *nodes_.values[dependency.target].ifArray()) {
        const auto text = *name.ifString();
        if (!spend(unitsPerLookUp + text.size())) return false;
        if (object.contains(text)) continue;
        passed = fail(value, {"'", nodes_.text(dependency.key), "' is missing it's dependency of '",
                              name, "'"});
        if (isDecided()) break;
    }
    return passed;
}

}  // namespace zentara
