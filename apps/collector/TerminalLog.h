#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include "collector/Services.h"

namespace zentara::collector {

/// Formats what arrives, one line for each event and for each other request. Events can hold
/// hostile text, so control characters are removed. Any thread.
class TerminalLog {
  public:
    struct Style {
        bool color = false;
        std::size_t columns = 0;  ///< longer lines are cut; 0 for no limit
    };

    /// The style for `stream`: color and cut lines on a terminal only, and no color if NO_COLOR is
    /// set.
    [[nodiscard]] static Style styleFor(std::FILE* stream);

    /// `text` without control characters and bytes that are not UTF-8.
    [[nodiscard]] static std::string harmless(std::string_view text);

    /// The lines for `report`, each with its end of line.
    [[nodiscard]] static std::string lines(const RequestReport& report, const Style& style);
};

}  // namespace zentara::collector
