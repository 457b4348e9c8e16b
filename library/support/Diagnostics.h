#pragma once

#include <string_view>

#include <zentara/LogSink.h>

namespace zentara {

// Each line goes to the host's log sink. The streams are for a process without a sink.

/// Writes one line to standard output in one piece. Any thread.
void printDiagnostic(std::string_view line);

/// Writes one line to standard error in one piece, or drops it if the reader has stalled. Any
/// thread, also under a lock. `component` is that of `LogLine`.
void printWarning(std::string_view line, std::string_view component = "client");

/// Replaces the log sink of the process; null prints again.
void setLogSink(LogLevel least, LogSink sink);

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
