#pragma once

#include <string>
#include <vector>

#include "Scenarios.h"

namespace zentara::fleet {

/// The figures of one variant.
struct Run {
    std::string name;
    std::vector<Sample> samples;  ///< one for each second
    Fleet::Books books;
    std::int64_t handedOn = 0;

    [[nodiscard]] static Run of(const Scenario& scenario, const Variant& variant);
};

struct Cell {
    std::string name;
    std::string value;
};

/// What the table says of a run; the names are the same for all runs of a scenario.
[[nodiscard]] std::vector<Cell> figuresOf(const Scenario& scenario, const Run& run);

}  // namespace zentara::fleet
