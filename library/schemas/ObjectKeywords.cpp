#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "schemas/KeywordValues.h"
#include "schemas/ValidationRun.h"
#include "text/RegularExpression.h"

// The keywords for dictionaries.

namespace zentara {

namespace {

constexpr std::int64_t unitsPerLookUp = 10;

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

std::int64_t costOfLookUps(std::size_t count) noexcept {
    return unitsPerLookUp * static_cast<std::int64_t>(count);
}

}  // namespace

bool ValidationRun::maxProperties(const JSONValue& bound, const JSONValue& value) {
    const auto* const object = value.ifObject();
    const auto most = integerValue(bound);
    return object == nullptr || !most || static_cast<std::int64_t>(object->size()) <= *most ||
           fail("Amount of properties is greater than maximum permitted");
}

bool ValidationRun::minProperties(const JSONValue& bound, const JSONValue& value) {
    const auto* const object = value.ifObject();
    const auto least = integerValue(bound);
    return object == nullptr || !least || static_cast<std::int64_t>(object->size()) >= *least ||
           fail("Amount of properties is less than the required amount");
}

bool ValidationRun::required(const JSONValue& names, const JSONValue& value) {
    const auto* const object = value.ifObject();
    const auto* const list = object == nullptr ? nullptr : listOfStrings(names, allowance_);
    if (list == nullptr) return true;
    if (!spend(costOfLookUps(list->size()))) return false;
    const auto isPresent = [this, object](const JSONValue& name) {
        return spendOnName(name.string()) && object->contains(name.string());
    };
    return std::all_of(list->begin(), list->end(), isPresent) ||
           fail("Required properties are missing '", names, "'");
}

bool ValidationRun::properties(const SchemaKeywords& keywords, const JSONValue& value) {
    const auto* const object = value.ifObject();
    if (object == nullptr) return true;
    const std::size_t firstMessage = messages_ == nullptr ? 0 : messages_->size();
    const auto* const named = dictionaryOfObjects(keywords.find(Keyword::properties), allowance_);
    bool passed = true;
    std::size_t found = 0;
    if (named != nullptr) {
        passed = namedProperties(*named, *object, found);
        if (!passed && isDecided()) return false;
    }
    const bool hasOthers =
        found < object->size() && restricts(keywords.find(Keyword::additionalProperties));
    if (!hasOthers && keywords.find(Keyword::patternProperties) == nullptr) return passed;
    return otherProperties(keywords, named, *object, firstMessage) && passed;
}

bool ValidationRun::namedProperties(const JSONObject& schemas, const JSONObject& object,
                                    std::size_t& found) {
    if (!spend(costOfLookUps(schemas.size()))) return false;
    if (schemas.size() > 2 * object.size() && object.size() <= fewProperties) {
        return fewOfManyProperties(schemas, object, found);
    }
    bool passed = true;
    // Values mostly list their members in the schema's order, so the next one is tried first.
    auto next = object.begin();
    for (const auto& [name, schema] : schemas) {
        if (next == object.end() || next->key() != name) {
            if (!spendOnName(name)) return false;
            const auto* const member = object.findMember(name);
            if (member == nullptr) continue;
            next = member;
        }
        ++found;
        const auto& value = next->value();
        ++next;
        if (!validate(schema.object(), value)) {
            passed = false;
            if (isDecided()) break;
        }
    }
    return passed;
}

/// The same, from the side of the few members; still in the schema's order.
bool ValidationRun::fewOfManyProperties(const JSONObject& schemas, const JSONObject& object,
                                        std::size_t& found) {
    std::array<std::uint32_t, fewProperties> positions;
    std::uint32_t count = 0;
    for (const auto& member : object) {
        // Found here, it is looked up in the value again below.
        if (!spendOnName(member.key()) || !spendOnName(member.key())) return false;
        const auto* const schema = schemas.findMember(member.key());
        if (schema == nullptr) continue;
        positions[count++] = static_cast<std::uint32_t>(schema - schemas.begin());
    }
    std::sort(positions.begin(), positions.begin() + count);
    found = count;
    bool passed = true;
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto& schema = schemas.begin()[positions[i]];
        if (!validate(schema.value().object(), *object.find(schema.key()))) {
            passed = false;
            if (isDecided()) break;
        }
    }
    return passed;
}

bool ValidationRun::otherProperties(const SchemaKeywords& keywords, const JSONObject* named,
                                    const JSONObject& object, std::size_t firstMessage) {
    const auto* const patterns =
        dictionaryOfObjects(keywords.find(Keyword::patternProperties), allowance_);
    const auto* const additional = keywords.find(Keyword::additionalProperties);
    bool passed = true;
    Positions covered(patterns == nullptr ? 0 : object.size());
    if (patterns != nullptr) {
        for (const auto& [pattern, schema] : *patterns) {
            const RegularExpression expression(pattern);
            const bool isValid = expression.isValid(&allowance_);
            if (allowance_.exhausted()) return stopForCost();
            if (!isValid) {
                // Takes the place of everything that this keyword has found so far.
                if (messages_ != nullptr) {
                    messages_->resize(firstMessage);
                    places_.resize(firstMessage);
                }
                return fail("[Schema] '", pattern,
                            "' is not a valid regex pattern for patternProperties");
            }
            std::size_t position = 0;
            for (const auto& [name, value] : object) {
                const auto current = position++;
                if (!expression.matches(name, &allowance_)) {
                    if (allowance_.exhausted()) return stopForCost();
                    continue;
                }
                covered.add(current);
                if (!validate(schema.object(), value)) {
                    passed = false;
                    if (isDecided()) return false;
                }
            }
        }
    }
    if (!restricts(additional)) return passed;
    if (!spend(costOfLookUps(object.size()))) return false;
    const auto* const schema = additional->ifObject();
    std::size_t position = 0;
    for (const auto& [name, value] : object) {
        const auto current = position++;
        if (patterns != nullptr && covered.contains(current)) continue;
        if (named != nullptr) {
            if (!spendOnName(name)) return false;
            if (named->contains(name)) continue;
        }
        if (!(schema != nullptr
                  ? validate(*schema, value)
                  : failAt(value, "Additional properties are not permitted in this object."))) {
            passed = false;
            if (isDecided()) return false;
        }
    }
    return passed;
}

bool ValidationRun::dependencies(const JSONValue& dependencies, const JSONValue& value) {
    const auto* const entries = dependencies.ifObject();
    const auto* const object = value.ifObject();
    if (entries == nullptr || object == nullptr) return true;
    if (!spend(costOfLookUps(entries->size()))) return false;
    bool passed = true;
    for (const auto& [key, dependency] : *entries) {
        if (!spendOnName(key)) return false;
        if (!object->contains(key)) continue;
        const auto* const schema = dependency.ifObject();
        if (!(schema != nullptr ? validate(*schema, value)
                                : propertyDependency(key, dependency, *object))) {
            passed = false;
            if (isDecided()) break;
        }
    }
    return passed;
}

bool ValidationRun::propertyDependency(std::string_view key, const JSONValue& dependency,
                                       const JSONObject& object) {
    const auto* const names = listOfStrings(dependency, allowance_);
    if (names == nullptr) return true;
    if (!spend(costOfLookUps(names->size()))) return false;
    bool passed = true;
    for (const auto& name : *names) {
        if (!spendOnName(name.string())) return false;
        if (object.contains(name.string())) continue;
        passed = fail("'", key, "' is missing it's dependency of '", name, "'");
        if (isDecided()) break;
    }
    return passed;
}

}  // namespace zentara
