#pragma once

#include <string_view>

namespace zentara {

/// Writes one line to standard output in one piece. Any thread.
void printDiagnostic(std::string_view line);

/// Writes one line to standard error in one piece, or drops it if the reader has stalled. Any
/// thread, also under a lock.
void printWarning(std::string_view line);

/// Writes one line that names the cause to standard error and aborts the process. For broken
/// invariants, never for bad input.
[[noreturn]] void fatalError(std::string_view cause) noexcept;

/// The seam through which a logger can be injected; it has no operation yet.
class LoggerProtocol {
  public:
    virtual ~LoggerProtocol() = default;
};

class Logger final : public LoggerProtocol {};

}  // namespace zentara
