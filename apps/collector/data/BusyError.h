#pragma once

#include "collector/data/StoreError.h"

namespace zentara::collector {

/// Somebody else has the database locked; it may do later.
class BusyError : public StoreError {
  public:
    using StoreError::StoreError;
};

}  // namespace zentara::collector
