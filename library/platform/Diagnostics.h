#pragma once

#include <string_view>

namespace zentara {

/// Writes one line to standard output in one piece. Any thread.
void printDiagnostic(std::string_view line);

/// Writes one line to standard error in one piece. Any thread.
void printWarning(std::string_view line);

}  // namespace zentara
