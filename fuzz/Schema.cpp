// A schema and a value, a line each, through the validation engine.

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "Check.h"
#include "collector/data/ArrivalCheck.h"
#include "json/JSONText.h"
#include "json/ObjectEquality.h"
#include "schemas/Schema.h"
#include "schemas/SchemaValidator.h"

using namespace zentara;
using zentara::fuzz::check;

namespace {

/// Whether a name or a string anywhere in `value` is `word`.
bool holds(const JSONValue& value, std::string_view word) {
    if (const auto string = value.ifString()) return std::string_view(*string) == word;
    if (const auto* const array = value.ifArray()) {
        return std::any_of(array->begin(), array->end(),
                           [word](const auto& element) { return holds(element, word); });
    }
    if (const auto* const object = value.ifObject()) {
        return std::any_of(object->begin(), object->end(), [word](const auto& member) {
            return std::string_view(member.key()) == word || holds(member.value(), word);
        });
    }
    return false;
}

std::vector<collector::Finding> findings(const JSONValue& value, const JSONObject& schema) {
    return collector::checkProperties(value, Schema(schema, refusingFormats()));
}

/// How a validation ended: with a result, or stopped at a limit.
enum class Ending { valid, invalid, stopped };

Ending endingOf(const ValidationResult& result) {
    if (result.valid()) return Ending::valid;
    check(!result.errors()->empty(), "an invalid value has a message");
    const auto& last = result.errors()->back();
    return last.starts_with("Validation stopped") ||
                   last.find("leads back to itself") != std::string::npos
               ? Ending::stopped
               : Ending::invalid;
}

void checkOrdinary(const JSONValue& value, const JSONObject& schema) {
    const auto result = validate(value, schema);
    const Schema compiled(schema);
    for (int i = 0; i < 2; ++i)
        check(result == compiled.validate(value), "another validation ends like the first");

    const auto viaService = SchemaValidator().validate(value, compiled);
    check(viaService.isValid == result.valid() && viaService.errors.has_value() != result.valid() &&
              (result.valid() || viaService.errors->size() == result.errors()->size()),
          "the service agrees with the engine");
    check(findings(value, schema).empty() == result.valid(),
          "the collector agrees with the client");

    const auto ending = endingOf(result);
    // An enclosing schema becomes the root of the references.
    if (ending == Ending::stopped || holds(schema, "$ref")) return;
    const auto under = [&value](const char* keyword, const JSONValue& content) {
        JSONObject outer;
        outer[keyword] = content;
        return validate(value, outer);
    };
    const JSONArray list{JSONValue(schema)};
    const auto all = under("allOf", list);
    check(endingOf(all) == Ending::stopped || all == result, "allOf of one is the same");
    for (const char* const keyword : {"anyOf", "oneOf"}) {
        const auto one = endingOf(under(keyword, list));
        check(one == Ending::stopped || one == ending, "anyOf or oneOf of one is the same");
    }
    const auto none = endingOf(under("not", schema));
    check(none == Ending::stopped || none != ending, "not is the opposite");
}

void checkWritten(const JSONValue& value, const JSONObject& schema) {
    std::string text;
    if (!appendJSON(text, value)) return;
    const auto read = parseJSON(text);
    check(read.ok() && objectsEqual(value, *read), "a written value reads back");
    check(objectHash(value) == objectHash(*read), "equal values have equal hashes");
    std::string again;
    check(appendJSON(again, *read) && again == text, "a read value is written the same");
    check(findings(value, schema).size() == findings(*read, schema).size(),
          "a read value is as valid as before");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto [first, second] = fuzz::twoParts(fuzz::asText(data, size));
    const auto schema = parseJSON(first);
    const auto value = parseJSON(second);
    if (!schema.ok() || !value.ok() || !schema->isObject()) return 0;
    const auto& document = schema->object();
    const auto start = std::chrono::steady_clock::now();
    static_cast<void>(findings(*value, document));
    // A long validation runs once only, since it may be stopped in one run and not in another.
    if (std::chrono::steady_clock::now() - start > std::chrono::milliseconds(50)) return 0;
    // By design, this format ends the process for a value that is not a string.
    if (!holds(document, "numericString")) checkOrdinary(*value, document);
    checkWritten(*value, document);
    return 0;
}
