#pragma once

#include <string_view>

#include <zentara/LogSink.h>

namespace zentara {

/// Hands a line to the log sink, on a worker. True when there is a sink, so that nothing is printed
/// even if the sink does not get the line. Any thread, also under a lock.
[[nodiscard]] bool handToSink(LogLevel level, std::string_view component, std::string_view line);

/// The same for the line of a fatal error, on this thread. Does not wait for a lock.
[[nodiscard]] bool handFatalLineToSink(std::string_view cause) noexcept;

}  // namespace zentara
