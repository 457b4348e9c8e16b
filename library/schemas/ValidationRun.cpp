#include "schemas/ValidationRun.h"

#include <algorithm>

#include "schemas/KeywordValues.h"
#include "schemas/Reference.h"
#include "support/WorkLimits.h"

namespace zentara {

namespace {

constexpr std::int64_t unitsPerSubschema = 40;
constexpr std::int64_t unitsPerElement = 2;
constexpr std::int64_t unitsPerReference = 40;
constexpr std::int64_t unitsPerEntered = 3;
/// High, since this bounds memory rather than time: what is kept of a message beside its bytes
/// takes some 180, while lists of messages grow.
constexpr std::int64_t unitsPerMessageByte = 8;
constexpr std::int64_t unitsPerMessage = 180 * unitsPerMessageByte;
/// A longer reference is copied into what is said of it, twice.
constexpr std::size_t longestPlainReference = 4096;

std::int64_t costOf(std::size_t elements) noexcept {
    return unitsPerElement * static_cast<std::int64_t>(elements);
}

}  // namespace

ValidationResult ValidationRun::run(const JSONValue& value) {
    const Entered root{&root_, &value, nullptr};
    entered_ = &root;
    place_ = &value;
    const bool passed = validate(root_, value);
    if (passed && !stopMessage_) return {};
    if (stopMessage_) {
        gathered_.push_back(*std::move(stopMessage_));
        places_.push_back(stopPlace_);
    }
    return ValidationResult::invalid(std::move(gathered_));
}

bool ValidationRun::validate(const JSONObject& schema, const JSONValue& value) {
    if (depth_ == maximumDepth) return stopForDepth();
    if (depth_ % levelsPerStackCheck == 0 && remainingStackSpace() < leastStackSpace) {
        return stop("Validation stopped: the stack of this thread is too small");
    }
    if (!spend(unitsPerSubschema + costOf(schema.size()))) return false;
    ++depth_;
    const auto* const outerPlace = std::exchange(place_, &value);
    bool passed = true;
    SchemaKeywords keywords(schema);
    for (auto keyword = keywords.takeNext(); keyword != Keyword::none;
         keyword = keywords.takeNext()) {
        if (!check(keyword, keywords, value)) {
            passed = false;
            if (isDecided()) break;
        }
    }
    place_ = outerPlace;
    --depth_;
    return passed;
}

bool ValidationRun::passesSilently(const JSONObject& schema, const JSONValue& value) {
    auto* const messages = std::exchange(messages_, nullptr);
    const bool passed = validate(schema, value);
    messages_ = messages;
    return passed;
}

bool ValidationRun::check(Keyword keyword, const SchemaKeywords& keywords, const JSONValue& value) {
    if (keyword == Keyword::properties) return properties(keywords, value);
    const JSONValue& parameter = keywords.present(keyword);
    switch (keyword) {
        case Keyword::format:
            return format(parameter, value);
        case Keyword::reference:
            return reference(parameter, value);
        case Keyword::type:
            return type(parameter, value);
        case Keyword::allOf:
            return allOf(parameter, value);
        case Keyword::anyOf:
            return anyOf(parameter, value);
        case Keyword::oneOf:
            return oneOf(parameter, value);
        case Keyword::negation:
            return negation(parameter, value);
        case Keyword::enumeration:
            return enumeration(parameter, value);
        case Keyword::maxLength:
            return maxLength(parameter, value);
        case Keyword::minLength:
            return minLength(parameter, value);
        case Keyword::pattern:
            return pattern(parameter, value);
        case Keyword::multipleOf:
            return multipleOf(parameter, value);
        case Keyword::minimum:
            return minimum(parameter, keywords.find(Keyword::exclusiveMinimum), value);
        case Keyword::maximum:
            return maximum(parameter, keywords.find(Keyword::exclusiveMaximum), value);
        case Keyword::minItems:
            return minItems(parameter, value);
        case Keyword::maxItems:
            return maxItems(parameter, value);
        case Keyword::uniqueItems:
            return uniqueItems(parameter, value);
        case Keyword::items:
            return items(parameter, keywords.find(Keyword::additionalItems), value);
        case Keyword::maxProperties:
            return maxProperties(parameter, value);
        case Keyword::minProperties:
            return minProperties(parameter, value);
        case Keyword::required:
            return required(parameter, value);
        case Keyword::dependencies:
            return dependencies(parameter, value);
        default:
            return true;
    }
}

const JSONObject* ValidationRun::resolve(std::string_view reference) {
    const auto wanted = messages_ == nullptr ? FailureText::unwanted : FailureText::wanted;
    const auto resolved = resolveReference(root_, reference, wanted, allowance_);
    if (allowance_.exhausted()) {
        stopForCost();
        return nullptr;
    }
    if (resolved.schema == nullptr) fail(resolved.failure);
    return resolved.schema;
}

bool ValidationRun::reference(const JSONValue& reference, const JSONValue& value) {
    const auto text = reference.ifString();
    if (!text) return true;
    if (!spend(unitsPerReference + costOf(text->size()))) return false;
    if (text->size() > longestPlainReference && !spendOnMessage(2 * text->size())) return false;
    const auto* const target = resolve(*text);
    if (target == nullptr) return false;
    for (const auto* entered = entered_; entered != nullptr && entered->value == &value;
         entered = entered->outer) {
        allowance_.spend(unitsPerEntered);
        if (entered->schema == target) {
            return stop("Reference '" + std::string(*text) +
                        "' leads back to itself without going deeper into the value");
        }
    }
    const Entered here{target, &value, entered_};
    entered_ = &here;
    const bool passed = validate(*target, value);
    entered_ = here.outer;
    return passed;
}

bool ValidationRun::allOf(const JSONValue& schemas, const JSONValue& value) {
    const auto* const list = listOfObjects(schemas, allowance_);
    if (list == nullptr) return true;
    bool passed = true;
    for (const auto& schema : *list) {
        if (!validate(schema.object(), value)) {
            passed = false;
            if (isDecided()) break;
        }
    }
    return passed;
}

bool ValidationRun::anyOf(const JSONValue& schemas, const JSONValue& value) {
    const auto* const list = listOfObjects(schemas, allowance_);
    if (list == nullptr) return true;
    for (const auto& schema : *list) {
        if (passesSilently(schema.object(), value)) return true;
        if (stopMessage_) return false;
    }
    return fail(value, " does not meet anyOf validation rules.");
}

bool ValidationRun::oneOf(const JSONValue& schemas, const JSONValue& value) {
    const auto* const list = listOfObjects(schemas, allowance_);
    if (list == nullptr) return true;
    std::int64_t count = 0;
    for (const auto& schema : *list) {
        if (passesSilently(schema.object(), value)) ++count;
        if (stopMessage_ || (count > 1 && messages_ == nullptr)) return false;
    }
    return count == 1 || fail(count, " validates instead `oneOf`.");
}

bool ValidationRun::negation(const JSONValue& schema, const JSONValue& value) {
    const auto* const negated = schema.ifObject();
    if (negated == nullptr) return true;
    if (!passesSilently(*negated, value)) return !stopMessage_;
    return fail("'", value, "' does not match 'not' validation.");
}

bool ValidationRun::failAt(const JSONValue& value, std::string_view message) {
    const auto* const outerPlace = std::exchange(place_, &value);
    fail(message);
    place_ = outerPlace;
    return false;
}

std::size_t ValidationRun::mostMessageBytes() const noexcept {
    return static_cast<std::size_t>(std::max<std::int64_t>(0, allowance_.remaining())) /
           unitsPerMessageByte;
}

bool ValidationRun::spendOnMessage(std::size_t size) {
    return spend(unitsPerMessage + unitsPerMessageByte * static_cast<std::int64_t>(size));
}

bool ValidationRun::stop(std::string message) {
    if (!stopMessage_) {
        stopMessage_ = std::move(message);
        stopPlace_ = place_;
    }
    return false;
}

bool ValidationRun::stopForDepth() {
    return stop("Validation stopped: the schema is applied more than " +
                std::to_string(maximumDepth) + " levels deep");
}

bool ValidationRun::stopForCost() {
    return stop("Validation stopped: checking this value against this schema takes too long");
}

}  // namespace zentara
