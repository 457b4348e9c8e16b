#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "model/JSONCodable.h"

namespace zentara {

/// What an event holds. The types say how its texts, properties and user are kept.
template <typename TextType, typename PropertiesType, typename UserType>
struct EventFields {
    using Text = TextType;
    using OptionalText = std::optional<TextType>;
    using Properties = PropertiesType;
    using User = UserType;

    Text id;
    Text version;
    Text url;
    Text contentType;
    Properties properties{};     ///< points to an object
    std::int64_t createdAt = 0;  ///< milliseconds since 1970-01-01 UTC
    Text clientVersion;
    Text referer;
    OptionalText relationId;
    User user;
    Text zentaraClientContextID;
    std::int64_t zentaraActionSequence = 0;
    Text zentaraActionUUID;
    Text zentaraActionExtraAttributes;
};

using OwnedEventFields = EventFields<std::string, std::shared_ptr<const JSONValue>, StringMap>;
using BorrowedEventFields =
    EventFields<std::string_view, const JSONValue*,
                std::span<const std::pair<std::string_view, std::string_view>>>;

/// A text that templates take.
template <std::size_t size>
struct TemplateText {
    constexpr TemplateText(const char (&literal)[size]) { std::copy_n(literal, size, text); }

    char text[size];
};

/// A member of an event as a dictionary: its key, and the field that holds it.
template <TemplateText name, auto pointer>
struct EventMember {
    static constexpr std::string_view key{name.text};
    static constexpr auto field = pointer;
    /// What stands before the value in an event's text: comma, key and colon.
    static constexpr auto prefix = [] {
        std::array<char, key.size() + 4> text{',', '"'};
        std::copy(key.begin(), key.end(), text.begin() + 2);
        text[key.size() + 2] = '"';
        text[key.size() + 3] = ':';
        return text;
    }();
};

/// All members, in the order of an event's text. "user" is last, so that it can be cut off.
template <typename Fields>
inline constexpr std::tuple<
    EventMember<"id", &Fields::id>, EventMember<"version", &Fields::version>,
    EventMember<"url", &Fields::url>, EventMember<"contentType", &Fields::contentType>,
    EventMember<"properties", &Fields::properties>, EventMember<"actionTs", &Fields::createdAt>,
    EventMember<"zentaraClientVersion", &Fields::clientVersion>,
    EventMember<"zentaraClientReferer", &Fields::referer>,
    EventMember<"zentaraRelationId", &Fields::relationId>,
    EventMember<"zentaraClientContextID", &Fields::zentaraClientContextID>,
    EventMember<"zentaraActionSequence", &Fields::zentaraActionSequence>,
    EventMember<"zentaraActionUUID", &Fields::zentaraActionUUID>,
    EventMember<"zentaraActionExtraAttributes", &Fields::zentaraActionExtraAttributes>,
    EventMember<"user", &Fields::user>>
    eventMembers;

/// Calls `visit` with each member in turn for as long as it returns true.
template <typename Fields, typename Visit>
constexpr bool visitEventMembers(const Visit& visit) {
    return std::apply([&visit](auto... member) { return (visit(member) && ...); },
                      eventMembers<Fields>);
}

static_assert(std::apply(
                  [](auto... member) {
                      return (sizeof(std::declval<OwnedEventFields>().*member.field) + ...);
                  },
                  eventMembers<OwnedEventFields>) == sizeof(OwnedEventFields),
              "a field is missing from the list of members");

}  // namespace zentara
