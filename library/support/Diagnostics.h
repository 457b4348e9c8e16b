#pragma once

#include <string_view>

namespace zentara {

/// Writes one line to standard output in one piece. Any thread.
void printDiagnostic(std::string_view line);

/// Writes one line to standard error in one piece, or loses it where that would wait for a stalled
/// reader. Any thread, also under a lock.
void printWarning(std::string_view line);

}  // namespace zentara
