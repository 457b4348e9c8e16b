#pragma once

#include <stdexcept>

namespace zentara::collector {

/// The database could not be opened, read or written; says why, for people.
class StoreError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace zentara::collector
