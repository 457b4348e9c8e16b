#include "collector/data/EventFilter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <sstream>
#include <utility>

#include "collector/data/JSONText.h"
#include "json/JSONText.h"
#include "support/ASCII.h"

namespace zentara::collector {

namespace {

[[noreturn]] void refuse(std::string_view name, std::string_view expectation,
                         std::string_view value) {
    std::string reason(name);
    reason.append(" is ").append(expectation).append(", not \"").append(value).append("\"");
    throw ParameterError(reason);
}

template <typename Number>
Number readNumber(std::string_view name, std::string_view expectation, std::string_view value) {
    Number number{};
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error != std::errc() || end != value.data() + value.size() || value.empty()) {
        refuse(name, expectation, value);
    }
    return number;
}

std::optional<bool> readChoice(std::string_view name, std::string_view value) {
    if (value == "true") return true;
    if (value == "false") return false;
    if (value != "any") refuse(name, "true, false or any", value);
    return std::nullopt;
}

constexpr std::string_view propertyPrefix = "property.";

std::vector<std::string> readPath(std::string_view name) {
    std::vector<std::string> path;
    std::istringstream parts{std::string(name.substr(propertyPrefix.size()))};
    for (std::string part; std::getline(parts, part, '.');)
        path.push_back(part);
    if (path.empty() || path.size() > EventFilter::deepestProperty) {
        throw ParameterError("a property has a path of at most " +
                             std::to_string(EventFilter::deepestProperty) + " names, not " +
                             std::string(name));
    }
    return path;
}

bool isNumber(const std::string& text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

/// Walks down from the properties, one table for each name, as a path in one text could not hold
/// every name.
void appendProperty(std::string& term, std::vector<SQLCondition::Value>& values,
                    const EventFilter::Property& property) {
    std::string within = "json_each(events.json, '$.properties')";
    std::string tables;
    std::string names;
    std::string last;
    for (std::size_t depth = 0; depth < property.path.size(); ++depth) {
        last = "p" + std::to_string(depth);
        tables += (depth == 0 ? "" : ", ") + within + " " + last;
        const bool isAnyPlace = property.path[depth] == "*";
        names += "(CAST(" + last + ".key AS TEXT) = ?" +
                 (isAnyPlace ? " OR typeof(" + last + ".key) = 'integer'" : "") + ") AND ";
        values.emplace_back(property.path[depth]);
        within = "json_each(CASE WHEN " + last + ".type IN ('object', 'array') THEN " + last +
                 ".value ELSE '{}' END)";
    }
    term = "EXISTS (SELECT 1 FROM " + tables + " WHERE " + names + "(" + last +
           ".type = 'text' AND " + last + ".atom = ? OR " + last +
           ".type IN ('true', 'false', 'null') AND " + last + ".type = ?";
    values.insert(values.end(), 2, property.value);
    if (isNumber(property.value)) {
        term += " OR " + last + ".type IN ('integer', 'real') AND " + last +
                ".atom = CAST(? AS NUMERIC)";
        values.emplace_back(property.value);
    }
    term += "))";
}

}  // namespace

bool EventFilter::take(std::string_view name, std::string_view value) {
    const std::array<std::pair<std::string_view, std::optional<std::string>*>, 7> texts{
        {{"schema", &schema},
         {"user", &user},
         {"tenant", &tenant},
         {"context", &context},
         {"client", &client},
         {"message", &message},
         {"text", &text}}};
    for (const auto& [known, field] : texts) {
        if (name != known) continue;
        *field = value;
        return true;
    }
    if (name == "words") {
        std::istringstream all{std::string(value)};
        words.assign(std::istream_iterator<std::string>(all), {});
        if (words.size() > mostWords) refuse(name, "at most 100 words", value);
    } else if (name == "good" || name == "duplicate") {
        (name == "good" ? good : duplicate) = readChoice(name, value);
    } else if (name == "since" || name == "until") {
        (name == "since" ? since : until) =
            readNumber<std::int64_t>(name, "a time in milliseconds since 1970-01-01 UTC", value);
    } else if (name.starts_with(propertyPrefix)) {
        properties.push_back({readPath(name), std::string(value)});
    } else if (name == "after") {
        after = readNumber<std::int64_t>(name, "the number of an event", value);
    } else {
        return false;
    }
    return true;
}

bool EventQuery::take(std::string_view name, std::string_view value) {
    if (name == "offset") {
        offset = readCount(name, value);
    } else if (name == "limit") {
        limit = readCount(name, value);
    } else if (name == "order") {
        order = readOrder(name, value);
    } else if (name == "sort") {
        constexpr std::array<std::pair<std::string_view, Sort>, 5> sorts{
            {{"number", Sort::number},
             {"receivedAt", Sort::receivedAt},
             {"actionTs", Sort::actionTs},
             {"schema", Sort::schema},
             {"sequence", Sort::sequence}}};
        const auto* const known = std::find_if(
            sorts.begin(), sorts.end(), [&](const auto& each) { return each.first == value; });
        if (known == sorts.end()) {
            refuse(name, "number, receivedAt, actionTs, schema or sequence", value);
        }
        sort = known->second;
    } else {
        return filter.take(name, value);
    }
    return true;
}

std::size_t readCount(std::string_view name, std::string_view value) {
    return readNumber<std::size_t>(name, "a number from 0 on", value);
}

Order readOrder(std::string_view name, std::string_view value) {
    if (value != "ascending" && value != "descending") {
        refuse(name, "ascending or descending", value);
    }
    return value == "ascending" ? Order::ascending : Order::descending;
}

SQLCondition conditionFor(const EventFilter& filter) {
    SQLCondition condition;
    const auto require = [&](std::string_view term) {
        condition.text += condition.text.empty() ? " WHERE " : " AND ";
        condition.text += term;
    };
    const auto compare = [&](std::string_view term, const auto& value) {
        if (!value) return;
        require(term);
        condition.values.emplace_back(*value);
    };
    compare("schema = ?", filter.schema);
    compare("tenant = ?", filter.tenant);
    compare("context = ?", filter.context);
    compare("client = ?", filter.client);
    compare("receivedAt >= ?", filter.since);
    compare("receivedAt < ?", filter.until);
    compare("number > ?", filter.after);
    compare("number <= ?", filter.upTo);
    if (filter.user) {
        require("(userToken = ? OR userType || '=' || userToken = ?)");
        condition.values.insert(condition.values.end(), 2, *filter.user);
    }
    if (filter.message) {
        require(
            "good = 0 AND EXISTS (SELECT 1 FROM json_each(events.findings) finding "
            "WHERE json_extract(finding.value, '$.message') = ?)");
        condition.values.emplace_back(*filter.message);
    }
    // Literals, since the partial indices are defined with them.
    if (filter.good) require(*filter.good ? "good = 1" : "good = 0");
    if (filter.duplicate) require(*filter.duplicate ? "duplicate = 1" : "duplicate = 0");
    const auto contain = [&](const std::string& text) {
        std::string encoded;
        appendJSONString(encoded, inUTF8(text));
        encoded = encoded.substr(1, encoded.size() - 2);
        const bool isAsItIs = encoded == text;
        require(isAsItIs ? "instr(lower(json), ?) > 0"
                         : "(instr(lower(json), ?) > 0 OR instr(lower(json), ?) > 0)");
        condition.values.emplace_back(lowerCase(text));
        if (!isAsItIs) condition.values.emplace_back(lowerCase(std::move(encoded)));
    };
    if (filter.text) contain(*filter.text);
    for (const auto& word : filter.words)
        contain(word);
    for (const auto& property : filter.properties) {
        std::string term;
        appendProperty(term, condition.values, property);
        require(term);
    }
    return condition;
}

}  // namespace zentara::collector
