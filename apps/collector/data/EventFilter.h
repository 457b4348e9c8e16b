#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zentara::collector {

/// An invalid parameter. The text names it, for users.
class ParameterError : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// Selects events. All set members must match.
struct EventFilter {
    static constexpr std::size_t mostWords = 100;
    static constexpr std::size_t deepestProperty = 8;

    /// A property of that value: a string, or the JSON text of a number, a boolean or null.
    struct Property {
        std::vector<std::string> path;  ///< names of members, places in arrays, "*" for any place
        std::string value;

        friend bool operator==(const Property&, const Property&) = default;
    };

    std::optional<std::string> schema = {};  ///< "{id}-{version}"
    std::optional<std::string> user = {};    ///< the token of the user, or "{type}={token}"
    std::optional<std::string> tenant = {};
    std::optional<std::string> context = {};  ///< zentaraClientContextID
    std::optional<std::string> client = {};   ///< zentaraClientUUID
    std::optional<std::string> message = {};  ///< of a bad event, the whole text
    std::optional<bool> good = {};
    std::optional<bool> duplicate = {};
    /// Anywhere in the event's JSON text or in the strings that it holds, taken literally; ASCII
    /// letters match in either case.
    std::optional<std::string> text = {};
    std::vector<std::string> words = {};  ///< each found as `text` is
    std::vector<Property> properties = {};
    std::optional<std::int64_t> since = {};  ///< received then or later, in ms since 1970 UTC
    std::optional<std::int64_t> until = {};  ///< received earlier than that
    std::optional<std::int64_t> after = {};  ///< with a higher number
    /// With that number or a lower one. No parameter sets it.
    std::optional<std::int64_t> upTo = {};

    /// Sets the member of that name from a decoded parameter of the query interface; that of
    /// "property.a.b" adds a property. False if there is none. The value "any" unsets `good` or
    /// `duplicate`. Throws `ParameterError`.
    [[nodiscard]] bool take(std::string_view name, std::string_view value);

    friend bool operator==(const EventFilter&, const EventFilter&) = default;
};

enum class Order { ascending, descending };

/// Selects events, their order, and a part of them.
struct EventQuery {
    enum class Sort { number, receivedAt, actionTs, schema, sequence };

    EventFilter filter = {};
    Sort sort = Sort::number;  ///< equal events are in order of their numbers
    Order order = Order::ascending;
    std::size_t offset = 0;
    std::optional<std::size_t> limit = {};

    /// Like `EventFilter::take`, with "sort", "order", "offset" and "limit" besides.
    [[nodiscard]] bool take(std::string_view name, std::string_view value);
};

/// Reads a number from 0 on, for parameters such as "offset". Throws `ParameterError`.
[[nodiscard]] std::size_t readCount(std::string_view name, std::string_view value);

/// "ascending" or "descending". Throws `ParameterError`.
[[nodiscard]] Order readOrder(std::string_view name, std::string_view value);

/// A condition on the rows of the events table: SQL with a "?" for each of `values`.
struct SQLCondition {
    using Value = std::variant<std::int64_t, std::string>;

    std::string text;  ///< " WHERE ...", or empty for all rows
    std::vector<Value> values;
};

[[nodiscard]] SQLCondition conditionFor(const EventFilter& filter);

}  // namespace zentara::collector
