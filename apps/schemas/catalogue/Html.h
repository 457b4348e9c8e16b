#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>

#include "schemas/catalogue/Describe.h"

namespace zentara::schemas {

/// The events that have arrived.
struct Arrivals {
    std::uint64_t received = 0;
    std::uint64_t bad = 0;  ///< of these, the events that do not fit their schema
};

struct HtmlOptions {
    std::string title = "Events";
    /// By "{id}-{version}". If it is there, the page is part of a collector's pages and shows the
    /// numbers with links to the events.
    const std::map<std::string, Arrivals, std::less<>>* arrivals = nullptr;
};

/// What permits nothing but the page itself: the value of a Content-Security-Policy. The page has
/// the same in its head.
[[nodiscard]] const std::string& catalogueContentPolicy();

/// The page in one file that requests nothing from anywhere.
[[nodiscard]] std::string catalogueHtml(std::span<const EventPage> events,
                                        const HtmlOptions& options);

}  // namespace zentara::schemas
