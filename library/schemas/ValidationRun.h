#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "json/JSONText.h"
#include "json/JSONValue.h"
#include "json/PrintedForm.h"
#include "schemas/Format.h"
#include "schemas/SchemaKeywords.h"
#include "schemas/ValidationResult.h"
#include "support/WorkLimits.h"

namespace zentara {

/// One validation of one value against one document. Used once, on one thread; refers to the
/// document, the formats and the value.
///
/// A check answers whether the value passes and, while messages are gathered, says why not. Under
/// "anyOf", "oneOf" and "not" nothing is gathered, and a subschema is left at its first failure.
class ValidationRun {
  public:
    /// What one validation may cost, about half a second; then it stops with a message.
    static constexpr std::int64_t maximumUnits = 500'000'000;
    /// How many subschemas may be under way inside each other: five for each level of the deepest
    /// data that is read.
    static constexpr int maximumDepth = 2560;
    /// What must be left of the stack, which on a small one comes before that depth. Looked at
    /// every few levels; a level takes less than a kilobyte, or a few where a debugger or sanitizer
    /// is served.
    static constexpr std::size_t leastStackSpace = 128 * 1024;
    static constexpr int levelsPerStackCheck = 8;

    ValidationRun(const JSONObject& root, std::span<const Format> formats)
        : root_(root), formats_(formats), allowance_(maximumUnits) {}

    ValidationRun(const ValidationRun&) = delete;
    ValidationRun& operator=(const ValidationRun&) = delete;

    ValidationResult run(const JSONValue& value);

    /// The parts of the value that the messages of `run` are about, one for each, in their order:
    /// the value that a subschema refused, or the element or member that should not be there.
    [[nodiscard]] const std::vector<const JSONValue*>& places() const noexcept { return places_; }

  private:
    /// A subschema that a reference entered, with the value it is applied to.
    struct Entered {
        const JSONObject* schema;
        const JSONValue* value;
        const Entered* outer;
    };

    /// Shows a number as a double.
    struct AsDouble {
        double number;
    };

    // The value against a subschema: every keyword in order.
    bool validate(const JSONObject& schema, const JSONValue& value);
    bool passesSilently(const JSONObject& schema, const JSONValue& value);
    bool check(Keyword keyword, const SchemaKeywords& keywords, const JSONValue& value);

    // Keywords for any value.
    bool format(const JSONValue& name, const JSONValue& value);
    bool reference(const JSONValue& reference, const JSONValue& value);
    const JSONObject* resolve(std::string_view reference);
    bool type(const JSONValue& type, const JSONValue& value);
    bool allOf(const JSONValue& schemas, const JSONValue& value);
    bool anyOf(const JSONValue& schemas, const JSONValue& value);
    bool oneOf(const JSONValue& schemas, const JSONValue& value);
    bool negation(const JSONValue& schema, const JSONValue& value);
    bool enumeration(const JSONValue& list, const JSONValue& value);

    // Strings and numbers.
    bool maxLength(const JSONValue& bound, const JSONValue& value);
    bool minLength(const JSONValue& bound, const JSONValue& value);
    bool pattern(const JSONValue& pattern, const JSONValue& value);
    bool multipleOf(const JSONValue& divisor, const JSONValue& value);
    bool minimum(const JSONValue& bound, const JSONValue* exclusive, const JSONValue& value);
    bool maximum(const JSONValue& bound, const JSONValue* exclusive, const JSONValue& value);
    std::size_t countCharacters(std::string_view text);

    // Lists.
    bool minItems(const JSONValue& bound, const JSONValue& value);
    bool maxItems(const JSONValue& bound, const JSONValue& value);
    bool uniqueItems(const JSONValue& isWanted, const JSONValue& value);
    bool items(const JSONValue& schemas, const JSONValue* additional, const JSONValue& value);
    std::size_t countDistinct(const JSONArray& array);

    // Dictionaries.
    bool maxProperties(const JSONValue& bound, const JSONValue& value);
    bool minProperties(const JSONValue& bound, const JSONValue& value);
    bool required(const JSONValue& names, const JSONValue& value);
    bool properties(const SchemaKeywords& keywords, const JSONValue& value);
    static constexpr std::size_t fewProperties = 32;
    bool namedProperties(const JSONObject& schemas, const JSONObject& object, std::size_t& found);
    bool fewOfManyProperties(const JSONObject& schemas, const JSONObject& object,
                             std::size_t& found);
    bool otherProperties(const SchemaKeywords& keywords, const JSONObject* named,
                         const JSONObject& object, std::size_t firstMessage);
    bool dependencies(const JSONValue& dependencies, const JSONValue& value);
    bool propertyDependency(std::string_view key, const JSONValue& dependency,
                            const JSONObject& object);

    /// A failure, whose parts are put together only when somebody will read them: text, printed
    /// values, integers, `AsDouble`. Never inlined: those who pass are not to make room for it.
    template <typename... Parts>
    [[gnu::noinline]] bool fail(const Parts&... parts) {
        if (messages_ == nullptr || stopMessage_) return false;
        // Counted beforehand, so that no more memory is taken than for what is kept.
        const auto most = mostMessageBytes();
        std::size_t size = 0;
        ((size += sizeOf(parts, most)), ...);
        if (!spendOnMessage(size)) return false;
        std::string message;
        message.reserve(size);
        (append(message, parts), ...);
        messages_->push_back(std::move(message));
        places_.push_back(place_);
        return false;
    }
    template <typename Part>
    static std::size_t sizeOf(const Part& part, std::size_t most) {
        constexpr std::size_t longestNumber = 32;
        if constexpr (std::is_same_v<Part, JSONValue>) {
            return printedSize(part, most);
        } else if constexpr (std::is_same_v<Part, AsDouble> || std::is_same_v<Part, std::int64_t>) {
            return longestNumber;
        } else {
            return std::string_view(part).size();
        }
    }
    template <typename Part>
    static void append(std::string& message, const Part& part) {
        if constexpr (std::is_same_v<Part, JSONValue>) {
            appendPrinted(message, part);
        } else if constexpr (std::is_same_v<Part, AsDouble>) {
            appendDouble(message, part.number);
        } else if constexpr (std::is_same_v<Part, std::int64_t>) {
            message += std::to_string(part);
        } else {
            message += std::string_view(part);
        }
    }
    /// A failure of an element or member for being there at all.
    bool failAt(const JSONValue& value, std::string_view message);
    [[nodiscard]] std::size_t mostMessageBytes() const noexcept;
    bool spendOnMessage(std::size_t size);

    /// Ends the whole validation with `message`, whatever is under way.
    bool stop(std::string message);
    /// Takes work off the allowance; false when the validation has been stopped for it.
    bool spend(std::int64_t units) { return allowance_.spend(units) || stopForCost(); }
    /// What looking up a long name costs more: in large dictionaries all of it is hashed.
    bool spendOnName(std::string_view name) {
        return spend(static_cast<std::int64_t>(name.size()));
    }
    bool stopForCost();
    bool stopForDepth();

    /// Whether what is left to check cannot change the outcome.
    [[nodiscard]] bool isDecided() const noexcept { return messages_ == nullptr || stopMessage_; }

    const JSONObject& root_;
    const std::span<const Format> formats_;
    WorkAllowance allowance_;
    std::vector<std::string> gathered_;
    std::vector<std::string>* messages_ = &gathered_;  ///< null while nothing is gathered
    std::vector<const JSONValue*> places_;             ///< one for each that is gathered
    const JSONValue* place_ = nullptr;                 ///< what is being checked
    std::optional<std::string> stopMessage_;
    const JSONValue* stopPlace_ = nullptr;
    const Entered* entered_ = nullptr;
    int depth_ = 0;
};

}  // namespace zentara
