#pragma once

#include <span>
#include <string>

#include "schemas/catalogue/Describe.h"

namespace zentara::schemas {

/// The catalogue in Markdown with tables, as code hosts show it.
[[nodiscard]] std::string catalogueMarkdown(std::span<const EventPage> events,
                                            const std::string& title);

}  // namespace zentara::schemas
