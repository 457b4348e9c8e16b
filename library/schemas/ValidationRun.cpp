#include "schemas/ValidationRun.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <memory_resource>
#include <utility>

#include "json/JSONText.h"
#include "json/ObjectEquality.h"
#include "schemas/Keywords.h"
#include "support/Diagnostics.h"
#include "support/WorkLimits.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

constexpr std::int64_t unitsPerReference = 40;
constexpr std::size_t unitsPerElement = 8;
/// Bytes of compared texts.
constexpr std::size_t bytesPerUnit = 8;
constexpr std::size_t unitsPerLookUp = 10;
constexpr std::int64_t unitsPerEntered = 3;
constexpr std::int64_t unitsPerFormatByte = 4;
/// High, since this bounds memory rather than time. Beside its bytes, a message takes some 180
/// while the lists of messages grow.
constexpr std::size_t unitsPerMessageByte = 8;
constexpr std::size_t unitsPerMessage = 180 * unitsPerMessageByte;

/// How many elements of a list with unique items may equal another element: 0 beside false, 1
/// beside true. None when the list holds any other number.
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

}  // namespace

ValidationResult ValidationRun::run(const JSONValue& value) {
    const Entered root{0, &value, nullptr};
    entered_ = &root;
    place_ = &value;
    const bool passed = validate(root.node, value);
    if (passed && !stopMessage_) return {};
    if (stopMessage_) {
        messages_.push_back(*std::move(stopMessage_));
        places_.push_back(stopPlace_);
    }
    return ValidationResult::invalid(std::move(messages_));
}

bool ValidationRun::runChecks(const SchemaNodes::Node& node, unsigned kind,
                              const JSONValue& value) {
    place_ = &value;
    if (depth_ % levelsPerStackCheck == 0 && !mayEnter()) return false;
    if (!spend(std::int64_t{node.cost})) return false;
    depth_ += node.isInner ? 1 : 0;
    bool passed = true;
    const auto* check = nodes_.checks.data() + node.firstCheck;
    for (const auto* const last = check + node.count; check != last; ++check) {
        if ((check->kinds & kind) == 0) continue;
        if (!mayContinue(KeywordTable::of(check->keyword).check(*this, *check, value), passed))
            break;
    }
    depth_ -= node.isInner ? 1 : 0;
    return passed;
}

/// Called every few levels, among them the deepest.
bool ValidationRun::mayEnter() {
    static_assert(maximumDepth % levelsPerStackCheck == 0);
    if (depth_ == maximumDepth) {
        return stop("Validation stopped: the schema is applied more than " +
                    std::to_string(maximumDepth) + " levels deep");
    }
    return remainingStackSpace() >= leastStackSpace ||
           stop("Validation stopped: the stack of this thread is too small");
}

bool ValidationRun::passesSilently(Position node, const JSONValue& value) {
    const bool wasSilent = std::exchange(isSilent_, true);
    const bool passed = validate(node, value);
    isSilent_ = wasSilent;
    return passed;
}

bool ValidationRun::failure(const Check& check, const JSONValue& value) {
    return fail(value, {nodes_.values[check.first]});
}

bool ValidationRun::format(const Check& check, const JSONValue& value) {
    const auto& format = *check.format;
    if (const auto text = value.ifString()) {
        if (!spend(unitsPerFormatByte * static_cast<std::int64_t>(text->size()))) return false;
        if (format.accepts(*text, allowance_)) return true;
        if (allowance_.exhausted()) return stopForCost();
    } else if (format.otherKinds == Format::OtherKinds::fatal) {
        fatalError("The format numericString was applied to a value that is not a string.");
    } else if (format.otherKinds == Format::OtherKinds::stopping) {
        return stop(std::string(stoppedByFormat));
    }
    return fail(value, {"'", value, "'", format.complaint});
}

bool ValidationRun::reference(const Check& check, const JSONValue& value) {
    if (!spend(unitsPerReference)) return false;
    for (const auto* entered = entered_; entered != nullptr && entered->value == &value;
         entered = entered->outer) {
        allowance_.spend(unitsPerEntered);
        if (entered->node == check.first) {
            return stop("Reference '" + std::string(*nodes_.values[check.count].ifString()) +
                        "' leads back to itself without going deeper into the value");
        }
    }
    const Entered here{check.first, &value, entered_};
    entered_ = &here;
    const bool passed = validate(check.first, value);
    entered_ = here.outer;
    return passed;
}

/// Reached only by values of a type that is not accepted.
bool ValidationRun::type(const Check& check, const JSONValue& value) {
    if (check.flag) return fail(value, {value, " does not meet anyOf validation rules."});
    const auto name = check.count < typeNames.size() ? typeNames[check.count]
                                                     : *nodes_.values[check.first].ifString();
    return fail(value, {"'", value, "' is not of type '", name, "'"});
}

bool ValidationRun::allOf(const Check& check, const JSONValue& value) {
    bool passed = true;
    for (Position i = 0; i < check.count; ++i) {
        if (!mayContinue(validate(nodes_.references[check.first + i], value), passed)) break;
    }
    return passed;
}

bool ValidationRun::anyOf(const Check& check, const JSONValue& value) {
    for (Position i = 0; i < check.count; ++i) {
        if (passesSilently(nodes_.references[check.first + i], value)) return true;
        if (stopMessage_) return false;
    }
    return fail(value, {value, " does not meet anyOf validation rules."});
}

bool ValidationRun::oneOf(const Check& check, const JSONValue& value) {
    std::int64_t count = 0;
    for (Position i = 0; i < check.count; ++i) {
        if (passesSilently(nodes_.references[check.first + i], value)) ++count;
        if (stopMessage_ || (count > 1 && isSilent_)) return false;
    }
    return count == 1 || fail(value, {JSONValue(count), " validates instead `oneOf`."});
}

bool ValidationRun::negation(const Check& check, const JSONValue& value) {
    if (!passesSilently(check.first, value)) return !stopMessage_;
    return fail(value, {"'", value, "' does not match 'not' validation."});
}

bool ValidationRun::enumeration(const Check& check, const JSONValue& value) {
    const auto& list = nodes_.values[check.first];
    const auto text = value.ifString();
    for (const auto& each : *list.ifArray()) {
        if (text) {
            const auto listed = each.ifString();
            if (listed && isSame(*text, *listed)) return true;
            if (!spend(unitsPerElement + text->size() / bytesPerUnit)) return false;
            continue;
        }
        if (objectsEqual(value, each, &allowance_)) return true;
        if (allowance_.exhausted()) return stopForCost();
    }
    return fail(value, {"'", value, "' is not a valid enumeration value of '", list, "'"});
}

/// Lengths and sizes.
bool ValidationRun::size(const Check& check, const JSONValue& value) {
    const auto isMet = [&check](std::size_t size) {
        const auto number = static_cast<std::int64_t>(size);
        return check.flag ? number >= check.integer : number <= check.integer;
    };
    if (const auto text = value.ifString()) {
        // A text has at most as many characters as bytes, and at least one unless it is empty.
        const auto estimate = check.flag ? std::min<std::size_t>(text->size(), 1) : text->size();
        if (isMet(estimate) || isMet(characterCount(*text, &allowance_))) return true;
    } else if (isMet(value.isArray() ? value.ifArray()->size() : value.ifObject()->size())) {
        return true;
    }
    const auto complaint = KeywordTable::of(check.keyword).complaint;
    if (value.isObject()) return fail(value, {complaint});
    return fail(value, {complaint, JSONValue(check.integer)});
}

/// "minimum" and "maximum".
bool ValidationRun::range(const Check& check, const JSONValue& value) {
    const double number = *value.asDouble();
    const bool isMet = check.keyword == Keyword::minimum
                           ? (check.flag ? number > check.number : number >= check.number)
                           : (check.flag ? number < check.number : number <= check.number);
    return isMet ||
           fail(value, {KeywordTable::of(check.keyword).complaint, JSONValue(check.number)});
}

bool ValidationRun::pattern(const Check& check, const JSONValue& value) {
    const auto& expression = *nodes_.expressions[check.first];
    if (expression.matches(*value.ifString(), &allowance_)) return true;
    const bool isValid = expression.isValid(&allowance_);
    if (allowance_.exhausted()) return stopForCost();
    if (!isValid)
        return fail(value, {"[Schema] Regex pattern '", expression.pattern(), "' is not valid"});
    return fail(value, {"'", value, "' does not match pattern: '", expression.pattern(), "'"});
}

bool ValidationRun::multipleOf(const Check& check, const JSONValue& value) {
    const double number = *value.asDouble();
    const double quotient = number / check.number;
    return quotient == std::floor(quotient) ||
           fail(value, {JSONValue(number), " is not a multiple of ", JSONValue(check.number)});
}

std::size_t ValidationRun::countDistinct(const JSONArray& array) {
    if (array.size() <= 8) {
        const auto isFirst = [&](const JSONValue& element) {
            return std::none_of(array.begin(), &element, [&](const JSONValue& earlier) {
                return objectsEqual(earlier, element, &allowance_);
            });
        };
        return static_cast<std::size_t>(std::count_if(array.begin(), array.end(), isFirst));
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
    auto sameHash = hashed.begin();
    for (auto each = hashed.begin(); each != hashed.end(); ++each) {
        if (each->hash != sameHash->hash) sameHash = each;
        const auto isEqual = [this, each](const Hashed& earlier) {
            return objectsEqual(*earlier.value, *each->value, &allowance_);
        };
        if (std::none_of(sameHash, each, isEqual)) ++distinct;
        if (allowance_.exhausted()) return 0;
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
        const bool isPassed =
            node == SchemaNodes::forbidden
                ? fail(element, {"Additional results are not permitted in this array."})
                : validate(node, element);
        if (!mayContinue(isPassed, passed)) break;
    }
    return passed;
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

/// The position of the property among those of the node; their number when it is absent.
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

/// Validates the members that "properties" names, in the order of the schema. Looks up each member
/// of the value in the schema, and counts in `found` those that it names.
template <typename Buffer>
bool ValidationRun::namedMembers(const Members& members, const JSONValue& value, Buffer& all,
                                 std::size_t& found) {
    const auto& object = *value.ifObject();
    const auto* const properties = nodes_.properties.data() + members.first;
    const auto* const first = object.begin();
    const auto size = static_cast<std::uint32_t>(object.size());
    std::uint32_t count = 0;
    Position expected = 0;
    bool isInOrder = true;
    std::uint64_t present = 0;
    for (std::uint32_t member = 0; member < size; ++member) {
        // Most values list their members in the order of the schema.
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
        std::sort(
            all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count),
            [](const Named& one, const Named& other) { return one.property < other.property; });
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        const bool isPassed =
            validate(properties[all[i].property].node, first[all[i].member].value());
        if (!mayContinue(isPassed, passed)) break;
    }
    return passed;
}

bool ValidationRun::properties(const Check& check, const JSONValue& value) {
    const auto& members = nodes_.members[check.first];
    const auto& object = *value.ifObject();
    const std::size_t firstMessage = messages_.size();
    std::size_t found = 0;
    std::array<Named, fewMembers> few;  // not initialised, which would take longer than the rest
    bool passed = true;
    if (object.size() <= few.size()) {
        passed = namedMembers(members, value, few, found);
    } else {
        std::vector<Named> many(object.size());
        passed = namedMembers(members, value, many, found);
    }
    if (!passed && isDecided()) return false;
    const bool hasOthers = found < object.size() && members.additional != SchemaNodes::permitted;
    if (!hasOthers && members.patternCount == 0) return passed;
    return otherProperties(members, value, firstMessage) && passed;
}

bool ValidationRun::otherProperties(const Members& members, const JSONValue& value,
                                    std::size_t firstMessage) {
    const auto& object = *value.ifObject();
    bool passed = true;
    // By position, the members that a pattern matches.
    std::array<std::byte, 64> scratch;
    std::pmr::monotonic_buffer_resource memory(scratch.data(), scratch.size());
    std::pmr::vector<bool> covered(&memory);
    if (members.patternCount > 0) covered.resize(object.size());
    for (Position i = 0; i < members.patternCount; ++i) {
        const auto& expression = *nodes_.expressions[members.firstPattern + i];
        const bool isValid = expression.isValid(&allowance_);
        if (allowance_.exhausted()) return stopForCost();
        if (!isValid) {
            // Replaces all earlier messages of this keyword.
            messages_.resize(firstMessage);
            places_.resize(firstMessage);
            return fail(value, {"[Schema] '", expression.pattern(),
                                "' is not a valid regex pattern for patternProperties"});
        }
        for (std::size_t position = 0; position < object.size(); ++position) {
            const auto& [name, member] = object.begin()[position];
            if (!expression.matches(name, &allowance_)) {
                if (allowance_.exhausted()) return stopForCost();
                continue;
            }
            covered[position] = true;
            if (!mayContinue(validate(nodes_.references[members.patternNodes + i], member), passed))
                return false;
        }
    }
    if (members.additional == SchemaNodes::permitted) return passed;
    for (std::size_t position = 0; position < object.size(); ++position) {
        const auto& [name, member] = object.begin()[position];
        if (!spend(unitsPerLookUp)) return false;
        if (members.patternCount != 0 && covered[position]) continue;
        if (findProperty(members, name) < members.count) continue;
        if (allowance_.exhausted()) return stopForCost();
        const bool isPassed =
            members.additional == SchemaNodes::forbidden
                ? fail(member, {"Additional properties are not permitted in this object."})
                : validate(members.additional, member);
        if (!mayContinue(isPassed, passed)) return false;
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
        const bool isPassed = dependency.isList ? listedDependencies(dependency, value)
                                                : validate(dependency.target, value);
        if (!mayContinue(isPassed, passed)) break;
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

bool ValidationRun::fail(const JSONValue& place, std::initializer_list<Part> parts) {
    if (isDecided()) return false;
    // Count first, so that a message that is not kept takes no memory.
    const auto most = static_cast<std::size_t>(std::max<std::int64_t>(0, allowance_.remaining())) /
                      unitsPerMessageByte;
    std::size_t size = 0;
    for (const auto& part : parts)
        size += part.value == nullptr ? part.text.size() : printedSize(*part.value, most);
    if (!spend(unitsPerMessage + unitsPerMessageByte * size)) return false;
    std::string message;
    message.reserve(size);
    for (const auto& part : parts) {
        message += part.text;
        if (part.value != nullptr) appendPrinted(message, *part.value);
    }
    messages_.push_back(std::move(message));
    places_.push_back(&place);
    return false;
}

bool ValidationRun::failForMissing(const JSONValue& place, const JSONValue& names) {
    return fail(place, {"Required properties are missing '", names, "'"});
}

bool ValidationRun::stop(std::string message) {
    if (!stopMessage_) {
        stopMessage_ = std::move(message);
        stopPlace_ = place_;
    }
    return false;
}

bool ValidationRun::stopForCost() {
    return stop("Validation stopped: checking this value against this schema takes too long");
}

}  // namespace zentara
