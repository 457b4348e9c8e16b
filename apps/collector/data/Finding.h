#pragma once

#include <string>

namespace zentara::collector {

/// A message of the check on arrival, at its place in the event's properties.
struct Finding {
    std::string path;  ///< JSON pointer into the properties; "" for the properties as a whole
    std::string message;

    friend bool operator==(const Finding&, const Finding&) = default;
};

}  // namespace zentara::collector
