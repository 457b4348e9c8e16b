#include "model/EventDecoder.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "json/JSONText.h"
#include "json/SimdjsonParser.h"

namespace zentara {

namespace {

namespace ondemand = simdjson::ondemand;
using Fields = InternalEvent::Fields;

bool isSpace(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

std::optional<unsigned> hexadecimal(std::string_view digits) noexcept {
    unsigned number = 0;
    const auto* const end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, number, 16);
    if (digits.size() != 4 || result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return number;
}

/// The length of the escape at the start of `text`. 0 when it is malformed, or an escaped slash,
/// which is not posted.
std::size_t escapeLength(std::string_view text) noexcept {
    constexpr std::string_view letters = "\"\\bfnrt";
    if (text.size() < 2) return 0;
    if (letters.find(text[1]) != std::string_view::npos) return 2;
    if (text[1] != 'u') return 0;
    const auto isLowSurrogate = [](unsigned unit) {
        return unit >= 0xDC00 && unit < 0xE000;
    };
    const auto unit = hexadecimal(text.substr(2, 4));
    if (!unit || isLowSurrogate(*unit)) return 0;
    if (*unit < 0xD800 || *unit > 0xDFFF) return 6;
    if (text.substr(6, 2) != "\\u") return 0;
    const auto second = hexadecimal(text.substr(8, 4));
    return second && isLowSurrogate(*second) ? 12 : 0;
}

/// Whether every backslash starts a sound escape. Searches the whole file at once: most strings
/// have no escape, and decoding each string took half as long as the rest of the walk.
bool escapesAreSound(std::string_view json) noexcept {
    for (auto at = json.find('\\'); at != std::string_view::npos; at = json.find('\\', at)) {
        const auto length = escapeLength(json.substr(at));
        if (length == 0) return false;
        at += length;
    }
    return true;
}

/// Walks a text that the parser has indexed. The index proves that the text is UTF-8 and that its
/// strings end and hold no control characters.
///
/// The characters before each token show that there is no white space. Removing white space with
/// the parser, to compare, took as long as the walk.
class CompactWalk {
  public:
    explicit CompactWalk(ondemand::document& document) : document_(document) {}

    /// Visits everything inside `value`; false when something in it is not sound JSON, is not
    /// compact, or is nested deeper than `depth`. The recursion is bounded by `depth`.
    // NOLINTNEXTLINE(misc-no-recursion)
    [[nodiscard]] bool visit(ondemand::value value, std::size_t depth) {
        ondemand::json_type type{};
        if (value.type().get(type) != simdjson::SUCCESS) return false;
        switch (type) {
            case ondemand::json_type::object: {
                if (depth == 0) return false;
                return visitMembers(value, [this, depth](ondemand::value member) {
                    return visit(member, depth - 1);
                });
            }
            case ondemand::json_type::array: {
                if (depth == 0) return false;
                ondemand::array array;
                if (value.get_array().get(array) != simdjson::SUCCESS) return false;
                for (auto entry : array) {
                    ondemand::value element;
                    if (entry.get(element) != simdjson::SUCCESS) return false;
                    if (!isCompactElement(element) || !visit(element, depth - 1)) return false;
                }
                return endsCompactly(']');
            }
            case ondemand::json_type::string:
                return visitString(value);
            case ondemand::json_type::number:
                return value.get_number().error() == simdjson::SUCCESS;
            case ondemand::json_type::boolean:
                return value.get_bool().error() == simdjson::SUCCESS;
            case ondemand::json_type::null: {
                bool isNull = false;
                return value.is_null().get(isNull) == simdjson::SUCCESS && isNull;
            }
        }
        return false;
    }

    /// The text of the event, or an empty one when it is not in the form that `InternalEvent`
    /// writes.
    [[nodiscard]] InternalEvent::Text visitEvent(ondemand::value value) {
        ondemand::object object;
        ondemand::object_iterator next;
        ondemand::object_iterator last;
        if (value.get_object().get(object) != simdjson::SUCCESS ||
            object.begin().get(next) != simdjson::SUCCESS ||
            object.end().get(last) != simdjson::SUCCESS) {
            return {};
        }
        const char* start = nullptr;
        const char* user = nullptr;
        const bool isWhole = visitEventMembers<Fields>([&](auto member) {
            ondemand::field field;
            if (next == last || (*next).get(field) != simdjson::SUCCESS) return false;
            const auto key = field.key();
            if (!key.unsafe_is_equal(member.key) || !isCompactField(field)) return false;
            // A brace or a comma, and a quote, stand before the key. The last key is "user".
            user = key.raw() - 2;
            if (start == nullptr) start = user;
            if (!visitMember(field.value(), member.field)) return false;
            ++next;
            return true;
        });
        const char* end = nullptr;
        if (!isWhole || next != last || !endsCompactly('}') ||
            document_.current_location().get(end) != simdjson::SUCCESS) {
            return {};
        }
        return {std::string_view(start, static_cast<std::size_t>(end - start)),
                static_cast<std::size_t>(user - start)};
    }

    [[nodiscard]] static bool isCompactElement(ondemand::value& element) {
        const char* const start = element.raw_json_token().data();
        return start[-1] == '[' || (start[-1] == ',' && !isSpace(start[-2]));
    }

  private:
    template <typename Visit>
    [[nodiscard]] bool visitMembers(ondemand::value& value, const Visit& visitValue) {
        ondemand::object object;
        if (value.get_object().get(object) != simdjson::SUCCESS) return false;
        for (auto entry : object) {
            ondemand::field field;
            if (std::move(entry).get(field) != simdjson::SUCCESS) return false;
            if (!isCompactField(field) || !visitValue(field.value())) return false;
        }
        return endsCompactly('}');
    }

    [[nodiscard]] static bool visitString(ondemand::value value) {
        return value.get_raw_json_string().error() == simdjson::SUCCESS;
    }

    /// Visits the value of a member that `Field` holds.
    template <typename Field>
    [[nodiscard]] bool visitMember(ondemand::value value, Field Fields::* /*field*/) {
        if constexpr (std::is_same_v<Field, Fields::OptionalText>) {
            bool isNull = false;
            if (value.is_null().get(isNull) != simdjson::SUCCESS) return false;
            return isNull || visitString(value);
        } else if constexpr (std::is_same_v<Field, Fields::Text>) {
            return visitString(value);
        } else if constexpr (std::is_same_v<Field, Fields::User>) {
            return visitMembers(value, visitString);
        } else if constexpr (std::is_same_v<Field, Fields::Properties>) {
            ondemand::json_type type{};
            return value.type().get(type) == simdjson::SUCCESS &&
                   type == ondemand::json_type::object && visit(value, maximumPropertiesDepth);
        } else {
            return value.get_int64().error() == simdjson::SUCCESS;
        }
    }

    [[nodiscard]] static bool isCompactField(ondemand::field& field) {
        const char* const key = field.key().raw();
        const char* const value = field.value().raw_json_token().data();
        return (key[-2] == '{' || (key[-2] == ',' && !isSpace(key[-3]))) && value[-1] == ':' &&
               value[-2] == '"';
    }

    /// Whether the list or dictionary that was just left ends in `closer`, with no white space on
    /// either side.
    [[nodiscard]] bool endsCompactly(char closer) {
        const char* next = nullptr;
        return document_.current_location().get(next) == simdjson::SUCCESS && next[-1] == closer &&
               !isSpace(next[-2]);
    }

    ondemand::document& document_;
};

/// The events of a file in exactly the form that this library writes; otherwise nothing.
std::optional<std::vector<InternalEvent>> decodeCanonical(
    const std::shared_ptr<const std::string>& json) {
    if (!json->starts_with('[') || !json->ends_with(']') || !escapesAreSound(*json)) {
        return std::nullopt;
    }

    ondemand::parser parser;
    ondemand::document document;
    ondemand::array array;
    const simdjson::padded_string_view padded(json->data(), json->size(), json->capacity());
    if (!allocateParser(parser, json->size())) return std::nullopt;
    const auto code = parser.iterate(padded).get(document);
    if (code == simdjson::MEMALLOC) throw std::bad_alloc();
    if (code != simdjson::SUCCESS || document.get_array().get(array) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    std::vector<InternalEvent> events;
    CompactWalk walk(document);
    for (auto entry : array) {
        ondemand::value value;
        if (entry.get(value) != simdjson::SUCCESS) return std::nullopt;
        if (!CompactWalk::isCompactElement(value)) return std::nullopt;
        const auto text = walk.visitEvent(value);
        if (text.json.empty()) return std::nullopt;
        events.push_back(InternalEvent::fromText(json, text));
    }
    // Nothing follows the array, and no white space stands before its end.
    if (document.current_location().error() == simdjson::SUCCESS) return std::nullopt;
    if (isSpace((*json)[json->size() - 2])) return std::nullopt;
    return events;
}

DecodedEvents decodeAny(std::string_view json) {
    const auto parsed = parseJSON(json);
    if (!parsed.ok()) return {{}, parsed.status()};
    const auto* array = parsed->ifArray();
    if (array == nullptr || !std::ranges::all_of(*array, &JSONValue::isObject)) return {};
    DecodedEvents decoded;
    decoded.isList = true;
    for (const auto& element : *array) {
        auto event = InternalEvent::fromDictionary(element.object());
        // An event without a text, such as with a number beyond all doubles, would keep the whole
        // queue from being saved.
        if (event.ok() && event->jsonText()) decoded.events.push_back(*std::move(event));
    }
    return decoded;
}

}  // namespace

DecodedEvents decodeEvents(std::string json) {
    json.reserve(json.size() + simdjson::SIMDJSON_PADDING);
    const auto shared = std::make_shared<const std::string>(std::move(json));
    if (auto events = decodeCanonical(shared)) return {*std::move(events), {}, true, true};
    return decodeAny(*shared);
}

}  // namespace zentara
