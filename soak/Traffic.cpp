#include "Traffic.h"

#include <zentara/JSONValue.h>

#include <charconv>
#include <string_view>

namespace zentara::soak {

namespace {

constexpr std::int64_t kinds = 16;
constexpr std::int64_t broken = 5;
constexpr std::int64_t unknown = 11;

JSONObject money() {
    return {{"amount", "12.50"}, {"currency", "EUR"}};
}

/// From a few lines to some tens of kilobytes.
JSONObject order(std::int64_t number, const std::string& mark) {
    JSONArray lines;
    for (std::int64_t line = 0; line < (number % 256 == 0 ? 400 : 1 + number % 7); ++line) {
        lines.push_back(
            JSONObject{{"productId", "SH-12345"}, {"quantity", 1 + line % 20}, {"price", money()}});
    }
    return {{"orderId", "2024-DC61D546"},
            {"lines", std::move(lines)},
            {"total", money()},
            {"payment", "card"},
            {"delivery",
             {{"method", "express"}, {"country", "DE"}, {"postcode", "10115"}, {"note", mark}}}};
}

}  // namespace

bool isValid(std::int64_t number) noexcept {
    return number % kinds != broken && number % kinds != unknown;
}

NumberedEvent numberedEvent(std::int64_t number) {
    const std::string mark = "#" + std::to_string(number) + "#";
    const std::string text(static_cast<std::size_t>(number * 37 % 1000), 'x');
    switch (number % kinds) {
        case broken:
            return {"search", "1", {{"term", mark}, {"results", -1}}};
        case unknown:
            return {"review", "7", {{"productId", "SH-12345"}, {"stars", 5}, {"headline", mark}}};
        case 0:
            return {"order", "1", order(number, mark)};
        case 1:
        case 2:
            return {"review",
                    "1",
                    {{"productId", "SH-12345"}, {"stars", 4}, {"headline", mark}, {"text", text}}};
        case 3:
        case 4:
            return {"product-view",
                    "2",
                    {{"productId", "SH-12345"},
                     {"name", mark + " / \"Schuhe\" \\ für draußen"},
                     {"description", text + text},
                     {"categories", {"outdoor", "shoes"}},
                     {"price", money()},
                     {"inStock", true}}};
        default:
            return {"page-view",
                    "1",
                    {{"title", mark}, {"section", "home"}, {"language", "de"}, {"loadMs", 1200}}};
    }
}

std::optional<std::int64_t> numberOf(const JSONObject& event) {
    const auto* const properties = event.find("properties");
    if (properties == nullptr) return std::nullopt;
    const std::string text = JSONValue(*properties).text();
    const auto begin = text.find('#');
    const auto end = text.find('#', begin + 1);
    if (end == std::string::npos) return std::nullopt;
    std::int64_t number = 0;
    const auto read = std::from_chars(text.data() + begin + 1, text.data() + end, number);
    if (read.ec != std::errc() || read.ptr != text.data() + end) return std::nullopt;
    return number;
}

}  // namespace zentara::soak
