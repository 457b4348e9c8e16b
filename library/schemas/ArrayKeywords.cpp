#include <algorithm>
#include <array>
#include <cstddef>
#include <memory_resource>

#include "json/ObjectEquality.h"
#include "schemas/KeywordValues.h"
#include "schemas/ValidationRun.h"

// The keywords for lists.

namespace zentara {

namespace {

/// How many of the numbers (booleans included) of a list with unique items equal a boolean of the
/// list and are let pass all the same. Nothing when a number other than 0 and 1 is among them.
std::size_t countToleratedBooleans(const JSONArray& array) {
    std::array<bool, 2> asNumber{};
    std::array<bool, 2> asBoolean{};
    for (const auto& element : array) {
        if (element.isBoolean()) {
            asBoolean[element.boolean() ? 1 : 0] = true;
        } else if (const auto number = numberValue(element)) {
            if (*number != 0 && *number != 1) return 0;
            asNumber[*number == 1 ? 1 : 0] = true;
        }
    }
    return (asNumber[0] && asBoolean[0] ? 1U : 0U) + (asNumber[1] && asBoolean[1] ? 1U : 0U);
}

}  // namespace

bool ValidationRun::minItems(const JSONValue& bound, const JSONValue& value) {
    const auto* const array = value.ifArray();
    const auto least = integerValue(bound);
    return array == nullptr || !least || static_cast<std::int64_t>(array->size()) >= *least ||
           fail("Length of array is smaller than the minimum ", *least);
}

bool ValidationRun::maxItems(const JSONValue& bound, const JSONValue& value) {
    const auto* const array = value.ifArray();
    const auto most = integerValue(bound);
    return array == nullptr || !most || static_cast<std::int64_t>(array->size()) <= *most ||
           fail("Length of array is greater than maximum ", *most);
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
        if (!spend(50)) return 0;
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

bool ValidationRun::uniqueItems(const JSONValue& isWanted, const JSONValue& value) {
    const auto* const array = value.ifArray();
    if (array == nullptr || !isWanted.isBoolean() || !isWanted.boolean()) return true;
    const auto distinct = countDistinct(*array);
    if (allowance_.exhausted()) return stopForCost();
    if (distinct == array->size()) return true;
    return distinct + countToleratedBooleans(*array) == array->size() ||
           fail(value, " does not have unique items");
}

bool ValidationRun::items(const JSONValue& schemas, const JSONValue* additional,
                          const JSONValue& value) {
    const auto* const array = value.ifArray();
    if (array == nullptr) return true;
    bool passed = true;
    if (const auto* const schema = schemas.ifObject()) {
        for (const auto& element : *array) {
            if (!validate(*schema, element)) {
                passed = false;
                if (isDecided()) break;
            }
        }
        return passed;
    }
    const auto* const positional = listOfObjects(schemas, allowance_);
    if (positional == nullptr) return true;
    const std::size_t positions = std::min(positional->size(), array->size());
    for (std::size_t i = 0; i < positions; ++i) {
        if (!validate((*positional)[i].object(), (*array)[i])) {
            passed = false;
            if (isDecided()) return false;
        }
    }
    if (!restricts(additional)) return passed;
    for (std::size_t i = positions; i < array->size(); ++i) {
        const auto* const schema = additional->ifObject();
        if (!(schema != nullptr
                  ? validate(*schema, (*array)[i])
                  : failAt((*array)[i], "Additional results are not permitted in this array."))) {
            passed = false;
            if (isDecided()) return false;
        }
    }
    return passed;
}

}  // namespace zentara
