#include "collector/TerminalLog.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "collector/data/JSONText.h"

namespace zentara::collector {

namespace {

constexpr std::string_view plain = "\033[0m";
constexpr std::string_view dim = "\033[2m";
constexpr std::string_view red = "\033[1;31m";
constexpr std::string_view green = "\033[32m";
constexpr std::string_view yellow = "\033[33m";

/// `text` without anything that a terminal would obey: the control characters of ASCII, and those
/// from U+0080 to U+009F.
std::string harmless(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        const auto byte = static_cast<unsigned char>(text[index]);
        const bool startsHighControl = byte == 0xC2 && index + 1 < text.size() &&
                                       static_cast<unsigned char>(text[index + 1]) < 0xA0;
        if (startsHighControl) ++index;
        result += byte < 0x20 || byte == 0x7F || startsHighControl ? '?' : text[index];
    }
    return result;
}

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// At most `columns` characters of `text`.
std::string_view cut(std::string_view text, std::size_t columns) {
    std::size_t characters = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (continuesCharacter(text[index])) continue;
        if (characters++ == columns) return text.substr(0, index);
    }
    return text;
}

std::string clockTime(std::int64_t milliseconds) {
    const std::time_t seconds = milliseconds / 1000;
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 16> clock{};
    std::strftime(clock.data(), clock.size(), "%H:%M:%S", &local);
    return clock.data();
}

class Line {
  public:
    Line(const RequestReport& report, const TerminalLog::Style& style)
        : style_(style), columns_(style.columns) {
        add(clockTime(report.request.receivedAt), dim);
    }

    void add(std::string_view text, std::string_view color = {}) {
        if (text.empty()) return;
        if (!text_.empty()) append(" ", {});
        append(harmless(text), style_.color ? color : std::string_view());
    }

    [[nodiscard]] std::string end() && { return std::move(text_) + "\n"; }

  private:
    void append(const std::string& text, std::string_view color) {
        std::string_view shown = text;
        if (style_.columns != 0) {
            shown = cut(shown, columns_);
            for (const char byte : shown) {
                if (!continuesCharacter(byte)) --columns_;
            }
        }
        if (shown.empty()) return;
        text_ += color;
        text_ += shown;
        if (!color.empty()) text_ += plain;
    }

    const TerminalLog::Style& style_;
    std::size_t columns_;
    std::string text_;
};

std::string eventLine(const RequestReport& report, std::size_t index,
                      const TerminalLog::Style& style) {
    const Store::Arrival& arrival = report.arrivals[index];
    const Action& action = report.actions[index];
    Line line(report, style);
    line.add(arrival.good ? "good" : "BAD ", arrival.good ? green : red);
    line.add(arrival.schema);
    line.add("#" + std::to_string(arrival.number), dim);
    if (arrival.duplicate) line.add("duplicate", yellow);
    for (const Finding& finding : report.findings[index]) {
        line.add(finding.path.empty() ? finding.message : finding.path + ": " + finding.message,
                 red);
    }
    std::string properties;
    appendJSON(properties, *action.properties);
    line.add(properties);
    return std::move(line).end();
}

}  // namespace

TerminalLog::Style TerminalLog::styleFor(std::FILE* stream) {
    Style style;
    if (isatty(fileno(stream)) == 0) return style;
    const char* unwanted = std::getenv("NO_COLOR");
    style.color = unwanted == nullptr || *unwanted == '\0';
    winsize size{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) == 0) style.columns = size.ws_col;
    return style;
}

std::string TerminalLog::lines(const RequestReport& report, const Style& style) {
    std::string text;
    for (std::size_t index = 0; index < report.arrivals.size(); ++index)
        text += eventLine(report, index, style);
    if (!report.arrivals.empty() && report.fault.empty()) return text;

    Line line(report, style);
    line.add(report.request.method);
    line.add(report.request.target);
    line.add(report.status == 0 ? "no answer" : std::to_string(report.status),
             report.status == 200 ? std::string_view() : yellow);
    if (!report.fault.empty()) {
        line.add("fault: " + report.fault, yellow);
    } else {
        line.add(report.reason, yellow);
    }
    return text + std::move(line).end();
}

}  // namespace zentara::collector
