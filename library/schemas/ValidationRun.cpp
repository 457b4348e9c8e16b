#include "schemas/ValidationRun.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "json/JSONText.h"
#include "json/ObjectEquality.h"
#include "schemas/Keywords.h"
#include "support/Diagnostics.h"
#include "support/WorkLimits.h"
#include "text/Unicode.h"

// The walk over the nodes, and the keywords that look at a value of any kind, at texts and numbers.

namespace zentara {

namespace {

constexpr std::int64_t unitsPerReference = 40;
constexpr std::size_t unitsPerElement = 8;
constexpr std::size_t bytesPerUnit = 8;
constexpr std::int64_t unitsPerEntered = 3;
constexpr std::int64_t unitsPerFormatByte = 4;
/// High, since this bounds memory rather than time: what is kept of a message beside its bytes
/// takes some 180, while lists of messages grow.
constexpr std::size_t unitsPerMessageByte = 8;
constexpr std::size_t unitsPerMessage = 180 * unitsPerMessageByte;

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
        if (!KeywordTable::of(check->keyword).check(*this, *check, value)) {
            passed = false;
            if (isDecided()) break;
        }
    }
    depth_ -= node.isInner ? 1 : 0;
    return passed;
}

/// Looked at every few levels, of which the last is the deepest.
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

/// The value is of no type that is accepted.
bool ValidationRun::type(const Check& check, const JSONValue& value) {
    if (check.flag) return fail(value, {value, " does not meet anyOf validation rules."});
    const auto name = check.count < typeNames.size() ? typeNames[check.count]
                                                     : *nodes_.values[check.first].ifString();
    return fail(value, {"'", value, "' is not of type '", name, "'"});
}

bool ValidationRun::allOf(const Check& check, const JSONValue& value) {
    bool passed = true;
    for (Position i = 0; i < check.count; ++i) {
        if (!validate(nodes_.references[check.first + i], value)) {
            passed = false;
            if (isDecided()) break;
        }
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

std::size_t ValidationRun::countCharacters(std::string_view text) {
    return isPlainASCII(text) ? text.size() : characterCount(text, &allowance_);
}

bool ValidationRun::maxLength(const Check& check, const JSONValue& value) {
    const auto text = *value.ifString();
    // No text has more characters than bytes.
    if (static_cast<std::int64_t>(text.size()) <= check.integer) return true;
    return static_cast<std::int64_t>(countCharacters(text)) <= check.integer ||
           fail(value, {"Length of string is larger than max length ", JSONValue(check.integer)});
}

bool ValidationRun::minLength(const Check& check, const JSONValue& value) {
    const auto text = *value.ifString();
    // A text that is not empty has at least one.
    if (check.integer <= (text.empty() ? 0 : 1)) return true;
    return static_cast<std::int64_t>(countCharacters(text)) >= check.integer ||
           fail(value,
                {"Length of string is smaller than minimum length ", JSONValue(check.integer)});
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

bool ValidationRun::minimum(const Check& check, const JSONValue& value) {
    const double number = *value.asDouble();
    return (check.flag ? number > check.number : number >= check.number) ||
           fail(value, {"Value is lower than minimum value of ", JSONValue(check.number)});
}

bool ValidationRun::maximum(const Check& check, const JSONValue& value) {
    const double number = *value.asDouble();
    return (check.flag ? number < check.number : number <= check.number) ||
           fail(value, {"Value exceeds maximum value of ", JSONValue(check.number)});
}

bool ValidationRun::fail(const JSONValue& place, std::initializer_list<Part> parts) {
    if (isDecided()) return false;
    // Counted beforehand, so that no more memory is taken than for what is kept.
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
