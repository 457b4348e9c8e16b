#include "model/EventDecoder.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <utility>

#include "model/JSONText.h"

namespace zentara {

namespace {

namespace ondemand = simdjson::ondemand;

enum class Kind { string, optionalString, integer, object, strings };

struct Member {
    std::string_view key;
    Kind kind;
};

/// The members of an event in the order in which `InternalEvent` writes them.
constexpr std::array<Member, 14> members{{
    {"id", Kind::string},
    {"version", Kind::string},
    {"url", Kind::string},
    {"contentType", Kind::string},
    {"properties", Kind::object},
    {"actionTs", Kind::integer},
    {"zentaraClientVersion", Kind::string},
    {"zentaraClientReferer", Kind::string},
    {"zentaraRelationId", Kind::optionalString},
    {"zentaraClientContextID", Kind::string},
    {"zentaraActionSequence", Kind::integer},
    {"zentaraActionUUID", Kind::string},
    {"zentaraActionExtraAttributes", Kind::string},
    {"user", Kind::strings},
}};

/// Visits everything inside `value`; false when something in it is not sound JSON or is nested
/// deeper than `depth`. The recursion is bounded by `depth`.
// NOLINTNEXTLINE(misc-no-recursion)
bool walk(ondemand::value value, std::size_t depth) {
    ondemand::json_type type{};
    if (value.type().get(type) != simdjson::SUCCESS) return false;
    switch (type) {
        case ondemand::json_type::object: {
            if (depth == 0) return false;
            ondemand::object object;
            if (value.get_object().get(object) != simdjson::SUCCESS) return false;
            for (auto field : object) {
                std::string_view key;
                ondemand::value member;
                if (field.unescaped_key().get(key) != simdjson::SUCCESS) return false;
                if (field.value().get(member) != simdjson::SUCCESS) return false;
                if (!walk(member, depth - 1)) return false;
            }
            return true;
        }
        case ondemand::json_type::array: {
            if (depth == 0) return false;
            ondemand::array array;
            if (value.get_array().get(array) != simdjson::SUCCESS) return false;
            for (auto entry : array) {
                ondemand::value element;
                if (entry.get(element) != simdjson::SUCCESS) return false;
                if (!walk(element, depth - 1)) return false;
            }
            return true;
        }
        case ondemand::json_type::string: {
            std::string_view string;
            return value.get_string().get(string) == simdjson::SUCCESS;
        }
        case ondemand::json_type::number: {
            ondemand::number number;
            return value.get_number().get(number) == simdjson::SUCCESS;
        }
        case ondemand::json_type::boolean: {
            bool boolean = false;
            return value.get_bool().get(boolean) == simdjson::SUCCESS;
        }
        case ondemand::json_type::null: {
            bool isNull = false;
            return value.is_null().get(isNull) == simdjson::SUCCESS && isNull;
        }
    }
    return false;
}

bool walkStrings(ondemand::value value) {
    ondemand::object object;
    if (value.get_object().get(object) != simdjson::SUCCESS) return false;
    for (auto field : object) {
        std::string_view string;
        if (field.unescaped_key().get(string) != simdjson::SUCCESS) return false;
        if (field.value().get_string().get(string) != simdjson::SUCCESS) return false;
    }
    return true;
}

bool walkMember(ondemand::value value, Kind kind) {
    switch (kind) {
        case Kind::optionalString: {
            bool isNull = false;
            if (value.is_null().get(isNull) != simdjson::SUCCESS) return false;
            if (isNull) return true;
            [[fallthrough]];
        }
        case Kind::string: {
            std::string_view string;
            return value.get_string().get(string) == simdjson::SUCCESS;
        }
        case Kind::integer: {
            std::int64_t integer = 0;
            return value.get_int64().get(integer) == simdjson::SUCCESS;
        }
        case Kind::object: {
            ondemand::json_type type{};
            return value.type().get(type) == simdjson::SUCCESS &&
                   type == ondemand::json_type::object && walk(value, maximumJSONDepth - 3);
        }
        case Kind::strings:
            return walkStrings(value);
    }
    return false;
}

/// The text of the event at which `document` stands, or an empty one when it is not in the form
/// that `InternalEvent` writes.
InternalEvent::Text walkEvent(ondemand::document& document, ondemand::value value) {
    ondemand::object object;
    if (value.get_object().get(object) != simdjson::SUCCESS) return {};
    const char* start = nullptr;
    const char* user = nullptr;
    std::size_t next = 0;
    for (auto entry : object) {
        ondemand::field field;
        if (std::move(entry).get(field) != simdjson::SUCCESS) return {};
        const auto key = field.key();
        if (next == members.size() || !key.unsafe_is_equal(members[next].key)) return {};
        // In a compact text a brace and a quote stand before the first key, a comma and a quote
        // before the others.
        if (next == 0) start = key.raw() - 2;
        if (members[next].kind == Kind::strings) user = key.raw() - 2;
        if (!walkMember(field.value(), members[next].kind)) return {};
        ++next;
    }
    const char* end = nullptr;
    if (next != members.size() || document.current_location().get(end) != simdjson::SUCCESS) {
        return {};
    }
    return {std::string_view(start, static_cast<std::size_t>(end - start)),
            static_cast<std::size_t>(user - start)};
}

bool isCompact(const std::string& json) {
    const auto minified =
        std::make_unique_for_overwrite<char[]>(json.size() + simdjson::SIMDJSON_PADDING);
    std::size_t size = 0;
    return simdjson::minify(json.data(), json.size(), minified.get(), size) == simdjson::SUCCESS &&
           size == json.size();
}

/// The events of a file that this library wrote; nothing when anything in it is otherwise.
std::optional<std::vector<InternalEvent>> decodeCanonical(
    const std::shared_ptr<const std::string>& json) {
    // An escaped slash is sound JSON, but not what is to be posted.
    if (!isCompact(*json) || json->find("\\/") != std::string::npos) return std::nullopt;

    ondemand::parser parser;
    ondemand::document document;
    ondemand::array array;
    const simdjson::padded_string_view padded(json->data(), json->size(), json->capacity());
    if (parser.iterate(padded).get(document) != simdjson::SUCCESS ||
        document.get_array().get(array) != simdjson::SUCCESS) {
        return std::nullopt;
    }
    std::vector<InternalEvent> events;
    for (auto entry : array) {
        ondemand::value value;
        if (entry.get(value) != simdjson::SUCCESS) return std::nullopt;
        const auto text = walkEvent(document, value);
        if (text.json.empty()) return std::nullopt;
        events.push_back(InternalEvent::fromText(json, text));
    }
    // Nothing may follow the array.
    if (document.current_location().error() == simdjson::SUCCESS) return std::nullopt;
    return events;
}

DecodedEvents decodeAny(std::string_view json) {
    const auto parsed = parseJSON(json);
    if (parsed.error) return {{}, parsed.error};
    const auto* array = parsed.value.if_array();
    if (array == nullptr || !std::all_of(array->begin(), array->end(),
                                         [](const auto& element) { return element.is_object(); })) {
        return {};
    }
    DecodedEvents decoded;
    decoded.isList = true;
    for (const auto& element : *array) {
        auto event = InternalEvent::fromDictionary(element.get_object());
        // One without a text, for example with a number beyond all doubles, could never be saved
        // again and would take the others with it.
        if (event.value && event.value->jsonText()) {
            decoded.events.push_back(*std::move(event.value));
        }
    }
    return decoded;
}

}  // namespace

DecodedEvents decodeEvents(std::string json) {
    json.reserve(json.size() + simdjson::SIMDJSON_PADDING);
    const auto shared = std::make_shared<const std::string>(std::move(json));
    if (auto events = decodeCanonical(shared)) return {*std::move(events), nullptr, true, true};
    return decodeAny(*shared);
}

}  // namespace zentara
