#pragma once

#include <string>

namespace zentara {

/// A new random UUID in lower case, 36 characters. Any thread.
[[nodiscard]] std::string lowerCaseUUID();

}  // namespace zentara
