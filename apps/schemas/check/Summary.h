#pragma once

#include <cstdint>

#include "schemas/SchemaNodes.h"

namespace zentara::schemas {

/// What is certain about a subschema by the kinds of values alone. A value that is not a string
/// passes "numericString" here.
struct Summary {
    std::uint16_t fails = 0;              ///< kinds without a valid value
    std::uint16_t passes = 0;             ///< kinds all of whose values are valid
    std::uint16_t accepted = kinds::all;  ///< by "type"
    bool failsFirst = false;              ///< by an unknown format
    bool isFatal = false;                 ///< has the format "numericString"
    bool isExplained = true;              ///< why no value passes has been reported
};

}  // namespace zentara::schemas
