#include "collector/TerminalLog.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "text/Unicode.h"

namespace zentara::collector {

namespace {

constexpr std::string_view plain = "\033[0m";
constexpr std::string_view dim = "\033[2m";
constexpr std::string_view red = "\033[1;31m";
constexpr std::string_view green = "\033[32m";
constexpr std::string_view yellow = "\033[33m";

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// The number of bytes of the first character of `text`; 0 if it is not UTF-8.
std::size_t characterSize(std::string_view text) {
    for (std::size_t size = 1; size <= std::min<std::size_t>(text.size(), 4); ++size) {
        if (isValidUTF8(text.substr(0, size))) return size;
    }
    return 0;
}

/// Whether `character` controls a terminal: control characters, and those that change the direction
/// of text.
bool isCommand(std::string_view character) {
    const auto first = static_cast<unsigned char>(character.front());
    if (character.size() == 1) return first < 0x20 || first == 0x7F;
    const auto second = static_cast<unsigned char>(character[1]);
    if (character.size() == 2) return first == 0xC2 && second < 0xA0;
    const auto third = static_cast<unsigned char>(character[2]);
    return first == 0xE2 && ((second == 0x80 && ((third >= 0x8E && third <= 0x8F) ||
                                                 (third >= 0xA8 && third <= 0xAE))) ||
                             (second == 0x81 && third >= 0xA6 && third <= 0xA9));
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
        append(TerminalLog::harmless(text), style_.color ? color : std::string_view());
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
    // Events that are handed on have no number.
    if (arrival.number > 0) line.add("#" + std::to_string(arrival.number), dim);
    if (arrival.duplicate) line.add("duplicate", yellow);
    for (const Finding& finding : report.findings[index]) {
        line.add(finding.path.empty() ? finding.message : finding.path + ": " + finding.message,
                 red);
    }
    line.add(action.properties->text());
    return std::move(line).end();
}

}  // namespace

std::string TerminalLog::harmless(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t size = characterSize(text);
        const std::string_view character = text.substr(0, std::max<std::size_t>(size, 1));
        if (size == 0 || isCommand(character)) {
            result += '?';
        } else {
            result += character;
        }
        text.remove_prefix(character.size());
    }
    return result;
}

TerminalLog::Style TerminalLog::styleFor(std::FILE* stream) {
    Style style;
    if (isatty(fileno(stream)) == 0) return style;
    const char* unwanted = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    style.color = (unwanted == nullptr || *unwanted == '\0') && terminal != nullptr &&
                  std::string_view(terminal) != "dumb";
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
             report.status == 200 || report.status == 304 ? std::string_view() : yellow);
    const bool isNamed = report.reason.find(report.fault) != std::string::npos;
    if (!isNamed) line.add("fault: " + report.fault, yellow);
    line.add(report.reason, yellow);
    return text + std::move(line).end();
}

}  // namespace zentara::collector
