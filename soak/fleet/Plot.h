#pragma once

#include <string>
#include <vector>

#include "Collectors.h"

namespace zentara::fleet {

/// Lines over time as an SVG picture for light and dark pages.
struct Plot {
    struct Line {
        std::string name;
        std::vector<double> values;  ///< one for each second
    };

    std::string title;
    std::vector<Line> lines;
    Span shaded;
    double limit = 0;  ///< a dashed line, unless it is 0

    [[nodiscard]] std::string svg() const;
};

}  // namespace zentara::fleet
