#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <zentara/EventDraft.h>
#include <zentara/JSONValue.h>
#include <zentara/Language.h>
#include <zentara/PatternAutomaton.h>

// What the types of events are made of that zentara-schemas generates:
//
//     shop::events::AddToCart event{.productId = "CL-47819", .quantity = 1, .unitPrice = 64.5};
//     event.variant = {.size = shop::events::AddToCart::Size::xs};
//     client->send(event, handler);
//
// A member of the types below must be given, except for an `Optional`. Constants that the schema
// refuses do not compile: texts that are literals; numbers with clang; with g++, which warns, when
// it optimises. Everything else is left to the validation in `send`.
//
// Values read back as what they are: an `Integer` as a `std::int64_t`, a `Number` as a `double`, a
// `Text` as a `std::string_view`, an `Optional` as the `std::optional` that it is.

/// For the classes below: an error or a warning where `value` is a constant that `holds` refuses.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wgcc-compat"
#define ZENTARA_REFUSE_CONSTANT(holds, value) \
    __attribute__((diagnose_if(               \
        !holds(value), "this number is outside of the bounds that its schema allows", "error")))
#else
#define ZENTARA_REFUSE_CONSTANT(holds, value)
#endif

namespace zentara {

/// A rule that every value keeps.
struct NoRule {};

// Never defined: calls of them do not compile in constants.
void thisTextIsShorterThanItsSchemaAllows();
void thisTextIsLongerThanItsSchemaAllows();
void thisTextDoesNotMatchThePatternOfItsSchema();

#if defined(__GNUC__) && !defined(__clang__)
[[gnu::noinline,
  gnu::warning("this number is outside of the bounds that its schema allows")]] inline void
numberOutsideTheBoundsOfItsSchema() {
    asm("");
}
#endif

template <typename Input, typename Text>
concept TextInput =
    !std::is_array_v<std::remove_reference_t<Input>> &&
    !std::same_as<std::remove_cvref_t<Input>, Text> &&
    !std::same_as<std::remove_cvref_t<Input>, std::nullptr_t> &&
    (std::convertible_to<Input, std::string> || std::convertible_to<Input, std::string_view>);

/// A text. The rule may have `minLength`, `maxLength` and `patterns`.
///
/// A literal is checked by the compiler and not copied. Lengths count characters as users see them,
/// so a literal is checked only if it is plain ASCII; patterns, only if they are simple
/// (`PatternAutomaton`).
template <typename Rule = NoRule>
class Text {
  public:
    template <std::size_t size>
    consteval Text(const char (&literal)[size]) : literal_(literal) {
        check(literal_);
    }
    template <std::size_t size>
    static consteval Text literal(const char (&literal)[size]) {
        return literal;
    }
    /// Any other text. A null pointer is the empty text.
    template <TextInput<Text> Input>
    Text(Input&& text) : isOwned_(true), owned_(string(std::forward<Input>(text))) {}
    template <std::size_t size>
    Text(char (&text)[size]) : isOwned_(true), owned_(text) {}

// g++ 12 takes the text for uninitialised where a nested record is moved, or its initialisation
// undone.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
    constexpr Text(const Text& other) : isOwned_(other.isOwned_), literal_() {
        if (isOwned_) {
            std::construct_at(&owned_, other.owned_);
        } else {
            literal_ = other.literal_;
        }
    }
    constexpr Text(Text&& other) noexcept : isOwned_(other.isOwned_), literal_() {
        if (isOwned_) {
            std::construct_at(&owned_, std::move(other.owned_));
        } else {
            literal_ = other.literal_;
        }
    }
    Text& operator=(const Text& other) {
        return *this = Text(other);
    }
    Text& operator=(Text&& other) noexcept {
        if (this != &other) {
            std::destroy_at(this);
            std::construct_at(this, std::move(other));
        }
        return *this;
    }
    constexpr ~Text() {
        if (isOwned_) std::destroy_at(&owned_);
    }
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

    operator std::string_view() const noexcept {
        return isOwned_ ? std::string_view(owned_) : literal_;
    }
    template <std::convertible_to<std::string_view> Other>
    requires(!std::same_as<Other, std::nullptr_t>) friend bool operator==(const Text& one,
                                                                          const Other& other) {
        return static_cast<std::string_view>(one) == static_cast<std::string_view>(other);
    }
    friend std::ostream& operator<<(std::ostream& stream, const Text& text) {
        return stream << static_cast<std::string_view>(text);
    }
    [[nodiscard]] JSONValue json() const {
        return std::string_view(*this);
    }

  private:
    template <typename Input>
    static std::string string(Input&& text) {
        if constexpr (std::is_pointer_v<std::remove_cvref_t<Input>>) {
            return text == nullptr ? std::string() : std::string(text);
        } else if constexpr (std::convertible_to<Input, std::string>) {
            return std::forward<Input>(text);
        } else {
            return std::string(static_cast<std::string_view>(text));
        }
    }

    static consteval void check(std::string_view text) {
        if (!PatternAutomaton::isPlain(text)) return;
        if constexpr (requires { Rule::minLength; }) {
            if (text.size() < Rule::minLength) thisTextIsShorterThanItsSchemaAllows();
        }
        if constexpr (requires { Rule::maxLength; }) {
            if (text.size() > Rule::maxLength) thisTextIsLongerThanItsSchemaAllows();
        }
        if constexpr (requires { Rule::patterns; }) {
            for (const std::string_view pattern : Rule::patterns) {
                const auto automaton = PatternAutomaton::compile(pattern);
                if (automaton && !automaton->matches(text)) {
                    thisTextDoesNotMatchThePatternOfItsSchema();
                }
            }
        }
    }

    bool isOwned_ = false;
    union {
        std::string_view literal_;
        std::string owned_;
    };
};

/// A truth value; nothing else becomes one.
class Boolean {
  public:
    template <std::same_as<bool> Input>
    constexpr Boolean(Input value) noexcept : value_(value) {}

    constexpr operator bool() const noexcept { return value_; }
    [[nodiscard]] JSONValue json() const { return value_; }

  private:
    bool value_;
};

/// What `Integer` and `Number` share. The rule may have `minimum`, `maximum`, `exclusiveMinimum`,
/// `exclusiveMaximum` and `multipleOf`, as doubles.
template <typename Kind, typename Rule>
class BoundedNumber {
  public:
    template <typename Input>
    static constexpr bool accepts =
        std::constructible_from<JSONValue, Input> && !std::same_as<Input, bool> &&
        ((std::integral<Input> && std::is_arithmetic_v<Kind>) ||
         (std::floating_point<Input> && std::floating_point<Kind>));

    /// Whether the schema allows the value; as the validation computes it. clang 14 asks also for
    /// what is no number.
    template <typename Input>
    [[nodiscard]] static constexpr bool holds(const Input&) noexcept {
        return true;
    }
    template <typename Input>
    requires std::is_arithmetic_v<Input>
    [[nodiscard]] static constexpr bool holds(const Input& input) noexcept {
        const auto value = static_cast<double>(input);
        if constexpr (requires { Rule::minimum; }) {
            if (!(value >= Rule::minimum)) return false;
        }
        if constexpr (requires { Rule::exclusiveMinimum; }) {
            if (!(value > Rule::exclusiveMinimum)) return false;
        }
        if constexpr (requires { Rule::maximum; }) {
            if (!(value <= Rule::maximum)) return false;
        }
        if constexpr (requires { Rule::exclusiveMaximum; }) {
            if (!(value < Rule::exclusiveMaximum)) return false;
        }
        if constexpr (requires { Rule::multipleOf; }) {
            constexpr double largest = 9e15;  // beyond it, all doubles are whole
            const double quotient = value / Rule::multipleOf;
            if (quotient > -largest && quotient < largest) {
                const auto whole = static_cast<double>(static_cast<std::int64_t>(quotient));
                if (whole < quotient || whole > quotient) return false;
            }
        }
        return true;
    }

    template <typename Input>
    [[gnu::always_inline]] static void warnAbout([[maybe_unused]] Input value) noexcept {
#if defined(__GNUC__) && !defined(__clang__) && defined(__OPTIMIZE__)
        const bool isRefused = !holds(value);
        if (__builtin_constant_p(isRefused) && isRefused) numberOutsideTheBoundsOfItsSchema();
#endif
    }

    template <typename Input>
    requires accepts<Input>
    [[gnu::always_inline]] BoundedNumber(Input value)
        ZENTARA_REFUSE_CONSTANT(BoundedNumber::holds, value)
        : json_(value) {
        warnAbout(value);
    }
    template <typename Other, typename OtherRule>
    requires(!std::same_as<BoundedNumber<Other, OtherRule>, BoundedNumber> && accepts<Other>)
        BoundedNumber(const BoundedNumber<Other, OtherRule>& number)
        : json_(number.json()) {}
    // No moves, which would leave a null.
    BoundedNumber(const BoundedNumber&) = default;
    BoundedNumber& operator=(const BoundedNumber&) = default;

    /// An integer beyond the range of `std::int64_t` reads as the largest of it.
    operator Kind() const noexcept {
        if constexpr (std::integral<Kind>) {
            return json_.ifInteger().value_or(std::numeric_limits<Kind>::max());
        } else {
            return json_.asDouble().value_or(0);
        }
    }
    [[nodiscard]] const JSONValue& json() const noexcept {
        return json_;
    }

  private:
    JSONValue json_;
};

/// A whole number. No double becomes one.
template <typename Rule = NoRule>
using Integer = BoundedNumber<std::int64_t, Rule>;

/// Any number. A whole number stays whole.
template <typename Rule = NoRule>
using Number = BoundedNumber<double, Rule>;

/// How a list without elements is said.
struct EmptyList {};
inline constexpr EmptyList emptyList;

/// A list that must be given: `= {"a", "b"}`, or `= zentara::emptyList`.
template <typename Element>
class List : public std::vector<Element> {
  public:
    List() = delete;
    List(EmptyList) {}
    List(std::initializer_list<Element> elements) : std::vector<Element>(elements) {}
    List(std::vector<Element> elements) : std::vector<Element>(std::move(elements)) {}
    /// A list of what becomes elements, such as a `std::vector<std::string>`.
    template <typename Range>
    requires(!std::same_as<std::remove_cvref_t<Range>, List> &&
             requires(Range & range) {
                 { *std::begin(range) } -> std::convertible_to<Element>;
             }) List(Range&& elements)
        : std::vector<Element>(std::begin(elements), std::end(elements)) {}
};

template <typename Value, typename None>
class Possible;

/// What `Possible` passes on to its value.
template <typename Value>
struct ValueTraits {
    struct Nothing {
        Nothing() = delete;
    };
    static constexpr bool isText = false;
    using Number = BoundedNumber<Nothing, NoRule>;
    using Element = Nothing;
};
template <typename Rule>
struct ValueTraits<Text<Rule>> : ValueTraits<void> {
    static constexpr bool isText = true;
};
template <typename Kind, typename Rule>
struct ValueTraits<BoundedNumber<Kind, Rule>> : ValueTraits<void> {
    using Number = BoundedNumber<Kind, Rule>;
};
template <typename Item>
struct ValueTraits<List<Item>> : ValueTraits<void> {
    using Element = Item;
};
template <typename Value, typename None>
struct ValueTraits<Possible<Value, None>> : ValueTraits<Value> {};

template <typename Input, typename Value>
concept NumberInput = ValueTraits<Value>::Number::template accepts<Input>;

template <typename Input, typename Value, typename Self>
concept PossibleInput =
    (!ValueTraits<Value>::isText ||
     !std::is_array_v<std::remove_reference_t<Input>>)&&!std::same_as<std::remove_cvref_t<Input>,
                                                                      Self> &&
    !NumberInput<std::remove_cvref_t<Input>, Value> &&
    std::convertible_to<Input, std::optional<Value>>;

template <typename Value, typename None>
class Possible : public std::optional<Value> {
    using Base = std::optional<Value>;
    /// What braces stand for. Those of a JSON value would be read in two ways, and empty braces are
    /// no choice of an enumeration.
    using Braced =
        std::conditional_t<std::same_as<Value, JSONValue> || std::is_enum_v<Value>, void, Value>;

  public:
    Possible() requires(!std::same_as<None, std::nullopt_t>) = delete;
    constexpr Possible() noexcept requires std::same_as<None, std::nullopt_t> {}
    constexpr Possible(None) noexcept {}

    template <typename Input = Braced>
    requires PossibleInput<Input&&, Value, Possible> Possible(Input&& value)
        : Base(std::forward<Input>(value)) {}
    template <typename Input = Braced>
    requires PossibleInput<Input&&, Value, Possible> Possible& operator=(Input&& value) {
        Base::operator=(Base(std::forward<Input>(value)));
        return *this;
    }

    // The compiler looks at constants here and not further inside.

    template <std::size_t size>
    requires ValueTraits<Value>::isText consteval Possible(const char (&text)[size])
        : Base(std::in_place, Value::literal(text)) {}
    template <std::size_t size>
    requires ValueTraits<Value>::isText static consteval Possible literal(
        const char (&text)[size]) {
        return text;
    }
    template <std::size_t size>
    requires ValueTraits<Value>::isText Possible(char (&text)[size]) : Base(std::in_place, text) {}

    template <NumberInput<Value> Input, typename Number = typename ValueTraits<Value>::Number>
    [[gnu::always_inline]] Possible(Input value) ZENTARA_REFUSE_CONSTANT(Number::holds, value)
        : Base(std::in_place, value) {
        Number::warnAbout(value);
    }

    Possible(std::initializer_list<typename ValueTraits<Value>::Element> elements)
        : Base(std::in_place, elements) {}

    using Base::value_or;
    /// The text, or the literal.
    template <std::size_t size>
    requires std::convertible_to<const Value&, std::string_view>
    [[nodiscard]] std::string_view value_or(const char (&literal)[size]) const& {
        return *this ? std::string_view(**this) : literal;
    }
};

/// A value that may be absent.
template <typename Value>
using Optional = Possible<Value, std::nullopt_t>;

/// A value that must be given and may be null: `nullptr`.
template <typename Value>
using Nullable = Possible<Value, std::nullptr_t>;

// Other comparisons are those of `std::optional`.
template <typename Value, typename None>
[[nodiscard]] bool operator==(const Possible<Value, None>& one,
                              const Possible<Value, None>& other) {
    return one.has_value() == other.has_value() && (!one.has_value() || *one == *other);
}
template <typename Value, std::same_as<std::nullptr_t> Null>
[[nodiscard]] bool operator==(const Possible<Value, Null>& value, Null /*null*/) noexcept {
    return !value.has_value();
}

/// The JSON value of a member of a typed event. Of records and enumerations, `toJSON` of their
/// namespace gives it.
template <typename Value>
[[nodiscard]] JSONValue typedJSON(const Value& value) {
    if constexpr (std::same_as<Value, JSONValue>) {
        return value;
    } else if constexpr (requires { value.json(); }) {
        return value.json();
    } else if constexpr (requires { value.has_value(); }) {
        return value.has_value() ? typedJSON(*value) : JSONValue();
    } else if constexpr (requires { typename Value::allocator_type; }) {
        JSONArray array;
        array.reserve(value.size());
        for (const auto& element : value)
            array.push_back(typedJSON(element));
        return array;
    } else {
        return toJSON(value);
    }
}
template <typename Value>
[[nodiscard]] JSONValue typedJSON(const Required<Value>& value) {
    return typedJSON(static_cast<const Value&>(value));
}

/// Adds a member of a typed event to its JSON object.
template <std::size_t size, typename Value>
void addTyped(JSONObject& object, const char (&key)[size], const Value& value) {
    object.set({key, size - 1}, typedJSON(value));
}
template <std::size_t size, typename Value>
void addTyped(JSONObject& object, const char (&key)[size], const Optional<Value>& value) {
    if (value) addTyped(object, key, *value);
}
/// Adds those members that the object does not have.
inline void addOthers(JSONObject& object, const JSONObject& others) {
    for (const auto& [key, value] : others)
        if (!object.contains(key)) object.set(key, value);
}

/// The choice of an enumeration; null for a value that is none of its names.
template <typename Enumeration>
[[nodiscard]] JSONValue typedChoice(Enumeration value, std::span<const std::string_view> choices) {
    const auto position = static_cast<std::size_t>(value);
    return position < choices.size() ? JSONValue(choices[position]) : JSONValue();
}

}  // namespace zentara

#undef ZENTARA_REFUSE_CONSTANT
#if defined(__clang__)
#pragma clang diagnostic pop
#endif
