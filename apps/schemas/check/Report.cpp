#include "schemas/check/Report.h"

#include <algorithm>
#include <array>
#include <utility>

#include "json/JSONText.h"
#include "support/ASCII.h"
#include "text/Unicode.h"

namespace zentara::schemas {

namespace {

std::string_view nameOf(Severity severity) noexcept {
    return severity == Severity::fault ? "fault" : "warning";
}

std::string_view levelOf(Severity severity) noexcept {
    return severity == Severity::fault ? "error" : "warning";
}

std::string counted(std::size_t count, std::string_view what) {
    return std::to_string(count) + ' ' + std::string(what) + (count == 1 ? "" : "s");
}

/// Keys and paths may hold line breaks and sequences for a terminal.
std::string withoutControls(std::string text) {
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == '\x7F') c = '?';
    return text;
}

/// A path as a reference in a URI.
std::string uriOf(std::string_view path) {
    constexpr std::string_view hex = "0123456789ABCDEF";
    std::string uri = path.starts_with('/') ? "file://" : "";
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (isLetter(c) || isDigit(c) ||
            std::string_view("-._~/").find(c) != std::string_view::npos) {
            uri += c;
        } else {
            uri += '%';
            uri += hex[byte >> 4U];
            uri += hex[byte & 0xFU];
        }
    }
    return uri;
}

JSONObject resultOf(const CheckedFile& file, const Finding& finding) {
    const JSONObject region{{"startLine", finding.position.line},
                            {"startColumn", finding.position.column}};
    JSONObject location{
        {"physicalLocation", JSONObject{{"artifactLocation", JSONObject{{"uri", uriOf(file.path)}}},
                                        {"region", region}}}};
    location["logicalLocations"] =
        JSONArray{JSONValue(JSONObject{{"fullyQualifiedName", finding.pointer}})};
    JSONObject result{{"ruleId", std::string(finding.rule->number)},
                      {"ruleIndex", finding.rule - rules().data()},
                      {"level", std::string(levelOf(finding.rule->severity))},
                      {"message", JSONObject{{"text", finding.reason + ' ' + finding.advice}}}};
    result["locations"] = JSONArray{JSONValue(std::move(location))};
    return result;
}

std::string written(const JSONValue& report) {
    return report.text() + '\n';
}

}  // namespace

FindingCounts countOf(std::span<const CheckedFile> files) {
    FindingCounts counts;
    for (const auto& file : files) {
        for (const auto& finding : file.findings)
            ++(finding.isFault() ? counts.faults : counts.warnings);
    }
    return counts;
}

JSONObject findingAsJSON(const Finding& finding) {
    const auto& rule = *finding.rule;
    return {{"rule", std::string(rule.number)},
            {"name", std::string(rule.name)},
            {"severity", std::string(nameOf(rule.severity))},
            {"pointer", finding.pointer},
            {"line", finding.position.line},
            {"column", finding.position.column},
            {"reason", finding.reason},
            {"advice", finding.advice}};
}

std::string textReport(std::span<const CheckedFile> files) {
    std::string text;
    for (const auto& file : files) {
        for (const auto& each : file.findings) {
            text += withoutControls(file.path) + ':' + std::to_string(each.position.line) + ':' +
                    std::to_string(each.position.column) + ": ";
            text.append(nameOf(each.rule->severity)).append(" ").append(each.rule->number);
            text += ": " + withoutControls(each.reason + ' ' + each.advice) + '\n';
        }
    }
    const auto counts = countOf(files);
    return text + counted(files.size(), "schema") + ": " + counted(counts.faults, "fault") + ", " +
           counted(counts.warnings, "warning") + '\n';
}

std::string jsonReport(std::span<const CheckedFile> files) {
    JSONArray findings;
    for (const auto& file : files) {
        for (const auto& each : file.findings) {
            JSONObject entry{{"path", withValidUTF8(file.path)}};
            for (auto& [key, value] : findingAsJSON(each))
                entry.set(key, std::move(value));
            findings.push_back(std::move(entry));
        }
    }
    const auto counts = countOf(files);
    JSONObject report{
        {"schemas", files.size()}, {"faults", counts.faults}, {"warnings", counts.warnings}};
    report["findings"] = std::move(findings);
    return written(std::move(report));
}

std::string sarifReport(std::span<const CheckedFile> files) {
    JSONArray descriptions;
    for (const auto& rule : rules()) {
        descriptions.push_back(JSONObject{
            {"id", std::string(rule.number)},
            {"name", std::string(rule.name)},
            {"shortDescription", JSONObject{{"text", std::string(rule.summary)}}},
            {"defaultConfiguration", JSONObject{{"level", std::string(levelOf(rule.severity))}}}});
    }
    JSONArray results;
    for (const auto& file : files) {
        for (const auto& each : file.findings)
            results.push_back(resultOf(file, each));
    }
    JSONObject driver{{"name", "zentara-schemas"}};
    driver["rules"] = std::move(descriptions);
    JSONObject run{{"columnKind", "unicodeCodePoints"}};
    run["tool"]["driver"] = std::move(driver);
    run["results"] = std::move(results);
    JSONObject report{{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
                      {"version", "2.1.0"}};
    report["runs"] = JSONArray{JSONValue(std::move(run))};
    return written(std::move(report));
}

}  // namespace zentara::schemas
