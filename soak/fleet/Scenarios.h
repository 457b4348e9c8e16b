#pragma once

#include <string>
#include <vector>

#include "Fleet.h"

namespace zentara::fleet {

struct Variant {
    std::string name;
    FleetSettings fleet;
    CollectorSettings collectors;
};

struct Scenario {
    std::string name;
    std::string title;
    Time length = 0;
    Span disturbance;  ///< empty if nothing is disturbed
    std::vector<Variant> variants;
};

[[nodiscard]] std::vector<Scenario> scenarios(std::int64_t clients, std::uint64_t seed);

}  // namespace zentara::fleet
