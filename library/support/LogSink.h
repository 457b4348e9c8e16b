#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <zentara/Language.h>

namespace zentara {

/// How much a line of the log matters, from the least to the most.
enum class LogLevel : std::int64_t {
    info = 0,     ///< what became of an event
    warning = 1,  ///< a failure that the library goes on with, and its end
    fatal = 2,    ///< the process ends
};

/// One line that the library would print.
struct LogLine {
    LogLevel level = LogLevel::info;
    /// The part of the library: "schemas", "identity", "delivery", "storage" or "client".
    std::string component;
    /// One line without control characters and without a line break, in UTF-8. The names of the
    /// library and of the component, which begin a printed line, are left out.
    std::string text;
};

/// Receives lines. Called on a worker, one line after the other, in order; may call the library.
/// Lines that its own calls cause on its thread are dropped, and so are lines while a thousand wait
/// for it, lines that wait when the process ends, and the lines of a forked child. An exception
/// that leaves it is ignored.
///
/// The line of a fatal error comes on the thread that fails, just before the process ends: the sink
/// must not call the library then. Not called for a failure inside the sink itself.
using LogSink = std::function<void(const LogLine&)>;

/// A sink that keeps the library silent: `setLogSink(LogLevel::fatal, QuietLog())`.
struct QuietLog {
    void operator()(const LogLine&) const noexcept {}
};

}  // namespace zentara
