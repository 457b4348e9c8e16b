#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/Schema.h"
#include "schemas/SchemaNodes.h"
#include "support/WorkLimits.h"

namespace zentara {

/// Compares short texts without a call.
[[nodiscard]] inline bool isSame(std::string_view one, std::string_view other) noexcept {
    const auto size = one.size();
    if (size != other.size()) return false;
    const auto differ = [&]<typename Word>(Word left, std::size_t position) {
        Word right = 0;
        std::memcpy(&left, one.data() + position, sizeof left);
        std::memcpy(&right, other.data() + position, sizeof right);
        return left != right;
    };
    if (size >= 8 && size <= 16)
        return !differ(std::uint64_t{}, 0) && !differ(std::uint64_t{}, size - 8);
    if (size >= 4 && size < 8)
        return !differ(std::uint32_t{}, 0) && !differ(std::uint32_t{}, size - 4);
    if (size == 2) return !differ(std::uint16_t{}, 0);
    return one == other;
}

/// The validation of one value against one compiled schema. Used once, on one thread; refers to the
/// nodes and the value.
///
/// A check returns whether the value passes, and adds a message if it does not. Under "anyOf",
/// "oneOf" and "not" no messages are added, and a subschema ends at its first failure.
class ValidationRun {
  public:
    /// The most work of a validation, about half a second. Beyond it the validation stops with a
    /// message.
    static constexpr std::int64_t maximumUnits = 500'000'000;
    /// How deep subschemas may nest: five for each level of the deepest data that is read.
    static constexpr int maximumDepth = 2560;
    /// Space of the stack that must be left; a small stack is used up before the depth is reached.
    /// Checked every few levels. A level takes less than a kilobyte, or a few under a debugger or
    /// sanitizer.
    static constexpr std::size_t leastStackSpace = 128 * 1024;
    static constexpr int levelsPerStackCheck = 8;
    /// More named properties are searched by their order.
    static constexpr std::size_t fewProperties = 32;
    /// More members than these take memory from the heap.
    static constexpr std::size_t fewMembers = 64;

    explicit ValidationRun(const SchemaNodes& nodes) : nodes_(nodes), allowance_(maximumUnits) {}

    ValidationRun(const ValidationRun&) = delete;
    ValidationRun& operator=(const ValidationRun&) = delete;

    ValidationResult run(const JSONValue& value);

    /// The work that `run` took.
    [[nodiscard]] std::int64_t units() const noexcept {
        return maximumUnits - allowance_.remaining();
    }

    /// The places of the messages of `run`.
    [[nodiscard]] MessagePlaces& places() noexcept { return places_; }

  private:
    friend struct KeywordTable;

    using Check = SchemaNodes::Check;
    using Position = SchemaNodes::Position;

    /// A node that a reference entered, and the value that it is applied to.
    struct Entered {
        Position node;
        const JSONValue* value;
        const Entered* outer;
    };

    /// Validates the value against a node. Most valid values need no more than this: they are of
    /// the right type, and no other check examines it.
    bool validate(Position node, const JSONValue& value) {
        const auto& target = nodes_.nodes[node];
        const auto kind = kinds::of(value);
        if ((target.kinds & kind) != 0 || depth_ == maximumDepth)
            return runChecks(target, kind, value);
        return spend(std::int64_t{target.cost});
    }
    bool runChecks(const SchemaNodes::Node& node, unsigned kind, const JSONValue& value);
    bool passesSilently(Position node, const JSONValue& value);

    // Keywords. The value is of a kind that the check examines.
    bool failure(const Check& check, const JSONValue& value);
    bool format(const Check& check, const JSONValue& value);
    bool reference(const Check& check, const JSONValue& value);
    bool type(const Check& check, const JSONValue& value);
    bool allOf(const Check& check, const JSONValue& value);
    bool anyOf(const Check& check, const JSONValue& value);
    bool oneOf(const Check& check, const JSONValue& value);
    bool negation(const Check& check, const JSONValue& value);
    bool enumeration(const Check& check, const JSONValue& value);
    bool size(const Check& check, const JSONValue& value);
    bool range(const Check& check, const JSONValue& value);
    bool pattern(const Check& check, const JSONValue& value);
    bool multipleOf(const Check& check, const JSONValue& value);
    bool uniqueItems(const Check& check, const JSONValue& value);
    bool items(const Check& check, const JSONValue& value);
    bool required(const Check& check, const JSONValue& value);
    bool properties(const Check& check, const JSONValue& value);
    bool dependencies(const Check& check, const JSONValue& value);

    // Parts of them.
    using Members = SchemaNodes::Members;
    std::size_t countDistinct(const JSONArray& array);
    /// A member that "properties" names.
    struct Named {
        Position property;
        std::uint32_t member;
    };
    bool holdsAll(const JSONValue& names, const JSONObject& object);
    Position findProperty(const Members& members, std::string_view name);
    template <typename Buffer>
    bool namedMembers(const Members& members, const JSONValue& value, Buffer& all,
                      std::size_t& found);
    bool otherProperties(const Members& members, const JSONValue& value, std::size_t firstMessage);
    bool listedDependencies(const SchemaNodes::Dependency& dependency, const JSONValue& value);

    /// A piece of a message: a text, or a value in its printed form.
    struct Part {
        Part(std::string_view piece) : text(piece) {}
        Part(const char* piece) : text(piece) {}
        Part(const JSONValue& shown) : value(&shown) {}

        std::string_view text;
        const JSONValue* value = nullptr;
    };
    /// Adds a message about `place`, unless messages are off. Returns false.
    bool fail(const JSONValue& place, std::initializer_list<Part> parts);
    bool failForMissing(const JSONValue& place, const JSONValue& names);

    /// Ends the whole validation with `message`. Returns false.
    bool stop(std::string message);
    /// Takes work from the allowance; false when that stops the validation.
    bool spend(std::int64_t units) { return allowance_.spend(units) || stopForCost(); }
    bool spend(std::size_t units) { return spend(static_cast<std::int64_t>(units)); }
    bool stopForCost();
    bool mayEnter();

    /// Whether the remaining checks cannot change the outcome.
    [[nodiscard]] bool isDecided() const noexcept { return isSilent_ || stopMessage_; }
    /// Adds the outcome of a part to that of the whole; false when the remaining parts cannot
    /// change it.
    bool mayContinue(bool partPassed, bool& passed) const noexcept {
        if (partPassed) return true;
        passed = false;
        return !isDecided();
    }

    const SchemaNodes& nodes_;
    WorkAllowance allowance_;
    std::vector<std::string> messages_;
    MessagePlaces places_;              ///< one for each message
    const JSONValue* place_ = nullptr;  ///< the value that a node was entered with last
    bool isSilent_ = false;             ///< no messages are added
    std::optional<std::string> stopMessage_;
    const JSONValue* stopPlace_ = nullptr;
    const Entered* entered_ = nullptr;
    int depth_ = 0;
};

}  // namespace zentara
