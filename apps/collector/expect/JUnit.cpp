#include "collector/expect/JUnit.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace zentara::collector {

namespace {

constexpr std::string_view suite = "zentara-collector expect";

/// Whether the UTF-8 text begins with a character that XML has no way to write.
bool isForeignToXML(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    return (first < ' ' && first != '\n') || text.starts_with("\xEF\xBF\xBE") ||
           text.starts_with("\xEF\xBF\xBF");
}

/// For the value of an attribute, and for text.
std::string escapedForXML(std::string_view text) {
    std::string escaped;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (isForeignToXML(text.substr(at))) {
            escaped += '?';
            at += text[at] == '\xEF' ? 2U : 0U;
            continue;
        }
        switch (const char character = text[at]; character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

std::string attribute(std::string_view name, std::string_view value) {
    std::string text(" ");
    return text.append(name).append("=\"").append(escapedForXML(value)).append("\"");
}

std::string timeOf(const TestResult& result) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.3f", result.seconds);
    return attribute("time", text.data());
}

}  // namespace

std::string junitText(const TestResult& result) {
    using enum TestResult::Outcome;
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n  <testsuite" +
                       attribute("name", suite) + attribute("tests", "1") +
                       attribute("failures", result.outcome == failed ? "1" : "0") +
                       attribute("errors", result.outcome == error ? "1" : "0") + timeOf(result) +
                       ">\n    <testcase" + attribute("classname", suite) +
                       attribute("name", result.name) + timeOf(result);
    if (result.outcome == passed) {
        text += "/>\n";
    } else {
        const std::string element = result.outcome == failed ? "failure" : "error";
        text += ">\n      <" + element +
                attribute("message", result.message.substr(0, result.message.find('\n'))) + ">" +
                escapedForXML(result.message) + "</" + element + ">\n    </testcase>\n";
    }
    return text + "  </testsuite>\n</testsuites>\n";
}

}  // namespace zentara::collector
