#pragma once

#include <string>

namespace zentara {

/// Differs each time the system has started; empty where the system does not say.
[[nodiscard]] std::string bootIdentity();

}  // namespace zentara
