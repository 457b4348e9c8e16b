#pragma once

#include <string_view>

namespace zentara {

/// Writes one line that names the cause to standard error and aborts the process. For states that
/// cannot be, never for bad input.
[[noreturn]] void fatalError(std::string_view cause) noexcept;

}  // namespace zentara
