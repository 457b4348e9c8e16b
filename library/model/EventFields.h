#pragma once

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

/// A member of an event as a dictionary: its key, and the field that holds it.
template <typename Fields, typename FieldType>
struct EventMember {
    using Field = FieldType;

    std::string_view prefix;  ///< comma, key in quotes and colon
    Field Fields::*field;

    [[nodiscard]] constexpr std::string_view key() const {
        return prefix.substr(2, prefix.size() - 4);
    }
};

/// All members, in the order of an event's text. "user" is last, so that it can be cut off.
template <typename Fields>
inline constexpr std::tuple eventMembers{
    EventMember{R"(,"id":)", &Fields::id},
    EventMember{R"(,"version":)", &Fields::version},
    EventMember{R"(,"url":)", &Fields::url},
    EventMember{R"(,"contentType":)", &Fields::contentType},
    EventMember{R"(,"properties":)", &Fields::properties},
    EventMember{R"(,"actionTs":)", &Fields::createdAt},
    EventMember{R"(,"zentaraClientVersion":)", &Fields::clientVersion},
    EventMember{R"(,"zentaraClientReferer":)", &Fields::referer},
    EventMember{R"(,"zentaraRelationId":)", &Fields::relationId},
    EventMember{R"(,"zentaraClientContextID":)", &Fields::zentaraClientContextID},
    EventMember{R"(,"zentaraActionSequence":)", &Fields::zentaraActionSequence},
    EventMember{R"(,"zentaraActionUUID":)", &Fields::zentaraActionUUID},
    EventMember{R"(,"zentaraActionExtraAttributes":)", &Fields::zentaraActionExtraAttributes},
    EventMember{R"(,"user":)", &Fields::user},
};

/// Calls `visit` with each member in turn for as long as it returns true.
template <typename Fields, typename Visit>
constexpr bool visitEventMembers(const Visit& visit) {
    return std::apply([&visit](const auto&... member) { return (visit(member) && ...); },
                      eventMembers<Fields>);
}

static_assert(
    std::apply([](auto... member) { return (sizeof(typename decltype(member)::Field) + ...); },
               eventMembers<OwnedEventFields>) == sizeof(OwnedEventFields),
    "a field is missing from the list of members");

}  // namespace zentara
