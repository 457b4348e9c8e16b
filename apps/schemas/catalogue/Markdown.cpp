#include "schemas/catalogue/Markdown.h"

#include <algorithm>
#include <string_view>

#include "text/Unicode.h"

namespace zentara::schemas {

namespace {

/// `text` on one line, without a meaning in Markdown, HTML or a table.
std::string escapedMarkdown(std::string_view text) {
    std::string markdown;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F) {
            markdown += ' ';
        } else {
            if (std::string_view("\\`*_{}[]<>()#|~&!$").find(character) != std::string_view::npos)
                markdown += '\\';
            markdown += character;
        }
    }
    return markdown;
}

/// How many backticks delimit a code that holds `text`.
std::string fenceFor(std::string_view text, std::size_t least) {
    std::size_t longest = 0, run = 0;
    for (const char character : text) {
        run = character == '`' ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return std::string(std::max(longest + 1, least), '`');
}

/// `text` as code within a line. A table ends its cell at "|" even in code, unless it is escaped.
std::string code(std::string_view text) {
    const auto fence = fenceFor(text, 1);
    std::string markdown = fence;
    const bool needsSpace = text.empty() || text.front() == '`' || text.back() == '`';
    if (needsSpace) markdown += ' ';
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '|') markdown += '\\';
        markdown += byte < 0x20 || byte == 0x7F ? ' ' : character;
    }
    if (needsSpace) markdown += ' ';
    return markdown + fence;
}

std::string block(std::string_view language, std::string_view text) {
    const auto fence = fenceFor(text, 3);
    std::string markdown = fence + std::string(language) + '\n' + std::string(text);
    if (!text.ends_with('\n')) markdown += '\n';
    return markdown + fence + "\n\n";
}

std::string paragraph(std::string_view text) {
    return text.empty() ? "" : escapedMarkdown(text) + "\n\n";
}

std::string tableRowOf(const PropertyRow& row) {
    std::string rules;
    const auto add = [&rules](const std::string& rule) {
        if (!rules.empty()) rules += "; ";
        rules += rule;
    };
    for (const auto& rule : row.rules)
        add(escapedMarkdown(rule));
    for (const auto& pattern : row.patterns)
        add("matches " + code(pattern));
    std::string values;
    for (const auto& value : row.values)
        values += (values.empty() ? "" : ", ") + code(value);
    if (!values.empty()) add(values);
    return "| " + code(row.path) + " | " + escapedMarkdown(row.type) + " | " +
           (row.isRequired ? "yes" : "") + " | " + rules + " | " +
           escapedMarkdown(row.description) + " | " +
           (row.example.empty() ? "" : code(row.example)) + " |\n";
}

std::string sectionOf(const EventVersion& version) {
    auto markdown = "### Version " + escapedMarkdown(version.name.version) + "\n\n";
    markdown += paragraph(version.description);
    for (const auto& finding : version.findings) {
        markdown +=
            "- **" + std::string(finding.rule->number) + "** " + escapedMarkdown(finding.reason) +
            " (" + (finding.pointer.empty() ? "" : code(finding.pointer) + ", ") + "line " +
            std::to_string(finding.position.line) + ", column " +
            std::to_string(finding.position.column) + ") " + escapedMarkdown(finding.advice) + '\n';
    }
    if (!version.findings.empty()) markdown += '\n';
    if (version.change) {
        markdown += "Compared with version " + escapedMarkdown(version.previous) + ": **" +
                    std::string(changeName(version.change->change)) + "**\n\n";
        for (const auto& difference : version.change->differences) {
            markdown += "- " +
                        (difference.property.empty() ? "" : code(difference.property) + ' ') +
                        escapedMarkdown(difference.reason) + '\n';
        }
        if (!version.change->differences.empty()) markdown += '\n';
    }
    markdown += paragraph(version.whyNone);
    if (!version.properties.empty()) {
        markdown +=
            "| Property | Type | Required | Rules | Description | Example |\n"
            "|---|---|---|---|---|---|\n";
        for (const auto& row : version.properties)
            markdown += tableRowOf(row);
        markdown += '\n';
    }
    markdown += paragraph(version.otherProperties);
    if (version.sample) markdown += block("json", trackLine(version));
    for (const auto& call : version.calls)
        markdown += std::string(call.language) + ":\n\n" + block(call.markdownName, call.code);
    return markdown + paragraph(version.whyNoCalls);
}

}  // namespace

std::string catalogueMarkdown(std::span<const EventPage> events, const std::string& title) {
    auto markdown = "# " + escapedMarkdown(title) + "\n\n";
    for (const auto& event : events) {
        const auto& name = event.versions.front().title;
        markdown += "## " + escapedMarkdown(name.empty() ? event.id : name) + "\n\n" +
                    code(event.id) + "\n\n";
        for (const auto& version : event.versions)
            markdown += sectionOf(version);
    }
    while (markdown.ends_with("\n\n"))
        markdown.pop_back();
    return withValidUTF8(std::move(markdown));
}

}  // namespace zentara::schemas
