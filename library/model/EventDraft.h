#pragma once

#include <concepts>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include <zentara/AnyText.h>
#include <zentara/JSONValue.h>
#include <zentara/Language.h>

namespace zentara {

/// A member that must be given: a record without it does not compile.
template <typename T>
class Required {
  public:
    template <typename U>
    requires(!std::same_as<std::remove_cvref_t<U>, Required> && std::convertible_to<U, T>)
        Required(U&& value)
        : value_(std::forward<U>(value)) {}

    operator const T&() const noexcept { return value_; }

  private:
    T value_;
};

/// An event to be sent, member by member:
///
/// ```cpp
/// client->send({.schemaId = "page-view", .schemaVersion = "1", .properties = {{"title",
/// "Home"}}});
/// ```
struct EventDraft {
    Required<std::string> schemaId;
    Required<std::string> schemaVersion;
    JSONObject properties = {};
    AnyText url = {};
    AnyText referer = {};
    std::string contentType = "application/json";
    std::optional<std::string> relationId = std::nullopt;
};

}  // namespace zentara
