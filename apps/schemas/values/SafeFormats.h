#pragma once

#include <span>

#include "schemas/Format.h"

namespace zentara::schemas {

/// The formats of the library, except that "numericString" ends the validation, with the message
/// `stoppedByFormat`, where it would end the process.
[[nodiscard]] std::span<const Format> safeFormats();

}  // namespace zentara::schemas
