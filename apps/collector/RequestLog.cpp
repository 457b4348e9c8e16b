#include "collector/RequestLog.h"

#include <unistd.h>
#include <zentara/JSONValue.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <utility>

#include "collector/data/JSONText.h"

namespace zentara::collector {

namespace {

constexpr std::array<std::string_view, 3> levelNames{"info", "warning", "error"};

/// As RFC 3339 has it: 2024-01-31T12:00:00.123Z
std::string timeText(std::int64_t milliseconds) {
    const std::time_t seconds = milliseconds / 1000;
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::array<char, 8> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%03dZ",
                  static_cast<int>(milliseconds % 1000));
    return std::string(date.data()) + fraction.data();
}

JSONObject lineOf(RequestLog::Level level, std::string_view message, std::int64_t now) {
    return {{"time", timeText(now)},
            {"level", levelNames[static_cast<std::size_t>(level)]},
            {"message", inUTF8(message)}};
}

RequestLog::Level levelOf(const RequestReport& report, std::size_t bad) {
    if (report.status >= 500) return RequestLog::Level::error;
    const bool isAsExpected = report.fault.empty() && report.reason.empty() && bad == 0;
    return isAsExpected ? RequestLog::Level::info : RequestLog::Level::warning;
}

}  // namespace

std::int64_t RequestLog::now() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

RequestLog::RequestLog(LogFormat format)
    : format_(format),
      style_(TerminalLog::styleFor(stderr)),
      writer_(STDERR_FILENO, [format](std::size_t lines) {
          const std::string text = std::to_string(lines) + " lines dropped";
          if (format == LogFormat::text) return "(" + text + ")\n";
          return messageLine(format, Level::warning, text, now());
      }) {}

void RequestLog::write(Level level, const std::string& message) {
    writer_.add(messageLine(format_, level, message, now()));
}

void RequestLog::write(const RequestReport& report) {
    writer_.add(format_ == LogFormat::text ? TerminalLog::lines(report, style_)
                                           : requestLine(report, now()));
}

std::string RequestLog::messageLine(LogFormat format, Level level, std::string_view message,
                                    std::int64_t now) {
    if (format == LogFormat::text) return "zentara-collector: " + std::string(message) + "\n";
    return JSONValue(lineOf(level, message, now)).text() + "\n";
}

std::string RequestLog::requestLine(const RequestReport& report, std::int64_t now) {
    const HttpRequest& request = report.request;
    const auto service = Services::at(request.path);
    const auto bad = static_cast<std::size_t>(
        std::count_if(report.arrivals.begin(), report.arrivals.end(),
                      [](const Store::Arrival& arrival) { return !arrival.good; }));
    const std::string answer = report.status == 0 ? "no answer" : std::to_string(report.status);
    const std::string method = TerminalLog::harmless(request.method);
    const std::string path = TerminalLog::harmless(request.path);
    JSONObject line = lineOf(levelOf(report, bad), method + " " + path + " " + answer, now);
    line.set("service", service ? JSONValue(nameOf(*service)) : JSONValue());
    line.set("method", method);
    line.set("path", path);
    line.set("status", report.status == 0 ? JSONValue() : JSONValue(report.status));
    line.set("client", request.client);
    line.set("events", report.arrivals.size());
    line.set("bad", bad);
    line.set("bytes", request.body.size());
    line.set("milliseconds", std::chrono::duration<double, std::milli>(report.took).count());
    if (!report.reason.empty()) line.set("reason", TerminalLog::harmless(report.reason));
    if (!report.fault.empty()) line.set("fault", report.fault);
    return JSONValue(std::move(line)).text() + "\n";
}

}  // namespace zentara::collector
