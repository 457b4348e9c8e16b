#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "collector/LogWriter.h"
#include "collector/Services.h"
#include "collector/TerminalLog.h"

namespace zentara::collector {

enum class LogFormat {
    text,  ///< for people
    json,  ///< an object on each line, for programs
};

/// What the collector writes to standard error. Any thread.
///
/// A line in JSON has "time" (RFC 3339, UTC), "level" ("info", "warning" or "error") and "message";
/// that of a request also "service", "method", "path", "status", "client", "events", "bad",
/// "bytes", "milliseconds", "reason" and "fault". It holds no query, header or body.
class RequestLog {
  public:
    enum class Level { info, warning, error };

    explicit RequestLog(LogFormat format);
    RequestLog(const RequestLog&) = delete;
    RequestLog& operator=(const RequestLog&) = delete;

    void write(Level level, const std::string& message);
    void write(const RequestReport& report);

    /// Milliseconds since 1970-01-01 UTC.
    [[nodiscard]] static std::int64_t now();

    /// The line of a message, and of a request, with its end of line.
    [[nodiscard]] static std::string messageLine(LogFormat format, Level level,
                                                 std::string_view message, std::int64_t now);
    [[nodiscard]] static std::string requestLine(const RequestReport& report, std::int64_t now);

  private:
    const LogFormat format_;
    const TerminalLog::Style style_;
    LogWriter writer_;
};

}  // namespace zentara::collector
