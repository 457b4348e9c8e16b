#pragma once

#include <zentara/TypedEvent.h>

#include <initializer_list>
#include <stdexcept>

/// Fills typed events from JSON, which only tests need: the generated functions `fromJSON` do it
/// member by member.
namespace zentara::test {

/// A valid value that a typed event cannot say, such as 2.0 where there is an integer.
class Unsayable : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

template <typename Type>
struct Of {
    using Result = Type;
};

template <typename Type>
Type read(const JSONValue& value, Of<Type> type) {
    return fromJSON(value, type);
}
inline JSONValue read(const JSONValue& value, Of<JSONValue> /*type*/) {
    return value;
}
inline Boolean read(const JSONValue& value, Of<Boolean> /*type*/) {
    return value.boolean();
}
template <typename Rule>
Text<Rule> read(const JSONValue& value, Of<Text<Rule>> /*type*/) {
    return value.string();
}
template <typename Kind, typename Rule>
BoundedNumber<Kind, Rule> read(const JSONValue& value, Of<BoundedNumber<Kind, Rule>> /*type*/) {
    using Number = BoundedNumber<Kind, Rule>;
    if (const auto integer = value.ifInteger()) return Number(*integer);
    if (const auto integer = value.ifUnsignedInteger()) return Number(*integer);
    if constexpr (Number::template accepts<double>) {
        if (const auto number = value.ifDouble()) return Number(*number);
    }
    throw Unsayable(value.text());
}
template <typename Value, typename None>
Possible<Value, None> read(const JSONValue& value, Of<Possible<Value, None>> /*type*/);
template <typename Element>
List<Element> read(const JSONValue& value, Of<List<Element>> /*type*/) {
    std::vector<Element> elements;
    for (const auto& element : value.array())
        elements.push_back(read(element, Of<Element>()));
    return elements;
}
template <typename Value>
Required<Value> read(const JSONValue& value, Of<Required<Value>> /*type*/) {
    return read(value, Of<Value>());
}
template <typename Value, typename None>
Possible<Value, None> read(const JSONValue& value, Of<Possible<Value, None>> /*type*/) {
    if constexpr (std::same_as<None, std::nullptr_t>) {
        if (value.isNull()) return nullptr;
    }
    return read(value, Of<Value>());
}

template <typename Type>
Type member(const JSONObject& object, std::string_view key) {
    const auto* const value = object.find(key);
    if constexpr (std::default_initializable<Type>) {
        if (value == nullptr) return {};
    }
    return read(*value, Of<Type>());
}

/// The members of other names.
inline JSONObject others(JSONObject object, std::initializer_list<std::string_view> keys) {
    for (const auto key : keys)
        object.erase(key);
    return object;
}

template <typename Enumeration>
Enumeration choice(const JSONValue& value, std::initializer_list<const char*> texts,
                   std::initializer_list<Enumeration> choices) {
    for (std::size_t position = 0; position < texts.size(); ++position)
        if (value.text() == texts.begin()[position]) return choices.begin()[position];
    throw Unsayable(value.text());
}

/// A schema and its generated type: an event that is filled from its properties.
struct TypedCase {
    const char* schema;  ///< as text
    EventDraft (*draft)(const JSONValue& properties);
};

}  // namespace zentara::test
