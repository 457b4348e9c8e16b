#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "schemas/Schema.h"
#include "schemas/commands/Commands.h"
#include "schemas/commands/CommonOptions.h"
#include "schemas/diff/Comparison.h"
#include "schemas/files/SchemaFile.h"
#include "text/Unicode.h"

namespace zentara::schemas {

namespace {

constexpr const char* details =
    R"(OLD and NEW are folders of schemas, or a file each. Schemas of folders are matched by name; a new
version is compared with the version before it, for information.

What a change means for the events of a schema:
  none        only texts for people changed, or nothing
  compatible  written differently, accepts the same events
  wider       what was valid stays valid
  narrower    an event that was valid is refused now; one is shown
  both        narrower, and an event that was refused is valid now
  unknown     neither proven nor refuted
"wider" and "compatible" are proven from the keywords. The events that are shown were checked by the
library's engine.

With --gate, a schema that was narrowed under the same version is refused, and so is a schema that
was removed. What is unknown is refused too, unless --allow-unknown is given: it may break a sender.

Exit codes: 0 done; 1 a change was refused; 2 the command line or a file is invalid.

Example: zentara-schemas diff --gate released/schemas schemas)";

struct Options {
    std::string before, after;
    std::string format = "text";
    bool isGate = false;
    bool allowsUnknown = false;
};

/// A schema in both sets, or a new version and the version before it.
struct Pair {
    const SchemaFile* before;
    const SchemaFile* after;
    bool isNewVersion = false;
    Comparison comparison = {};
};

struct Report {
    std::vector<Pair> pairs;
    std::vector<std::string> added, removed;
    std::vector<std::string> refusals;
};

std::string labelOf(const SchemaFile& schema) {
    return schema.name ? schema.name->key() : schema.path;
}

std::vector<SchemaFile> read(const std::string& path, bool isAlone) {
    if (!isAlone) return readValidSchemas({&path, 1});
    auto schemas = readSchemas({&path, 1});
    if (!schemas.front().document)
        throw CommandError(path + ": is no schema; zentara-schemas check tells where and why");
    return schemas;
}

/// The latest version of the same schema before this one.
const SchemaFile* predecessorOf(const SchemaFile& schema, const std::vector<SchemaFile>& before,
                                const std::vector<SchemaFile>& after) {
    const SchemaFile* latest = nullptr;
    for (const auto* const all : {&before, &after}) {
        for (const auto& each : *all) {
            if (each.name->id != schema.name->id || !isEarlier(*each.name, *schema.name)) continue;
            if (latest == nullptr || isEarlier(*latest->name, *each.name)) latest = &each;
        }
    }
    return latest;
}

Report match(const std::vector<SchemaFile>& before, const std::vector<SchemaFile>& after,
             bool areFiles) {
    Report report;
    if (areFiles) {
        const auto& one = before.front();
        const auto& other = after.front();
        const bool isNewVersion = one.name && other.name && one.name->id == other.name->id &&
                                  one.name->version != other.name->version;
        report.pairs.push_back({&one, &other, isNewVersion});
        return report;
    }
    std::map<std::string, const SchemaFile*> remaining;
    for (const auto& each : before)
        remaining.emplace(each.name->key(), &each);
    for (const auto& each : after) {
        const auto found = remaining.find(each.name->key());
        if (found != remaining.end()) {
            report.pairs.push_back({found->second, &each});
            remaining.erase(found);
            continue;
        }
        report.added.push_back(each.name->key());
        if (const auto* const earlier = predecessorOf(each, before, after))
            report.pairs.push_back({earlier, &each, true});
    }
    for (const auto& each : remaining)
        report.removed.push_back(each.first);
    return report;
}

void judge(Report& report, const Options& options) {
    for (auto& pair : report.pairs) {
        pair.comparison = compare(*pair.before->document, *pair.after->document);
        if (pair.isNewVersion) continue;
        const auto change = pair.comparison.change;
        const auto label = labelOf(*pair.after);
        if (change == Change::narrower || change == Change::both)
            report.refusals.push_back(label + " was narrowed; give it a new version");
        if (change == Change::unknown && !options.allowsUnknown)
            report.refusals.push_back(label +
                                      " may have been narrowed (--allow-unknown lets it pass)");
    }
    for (const auto& name : report.removed)
        report.refusals.push_back(name + " was removed");
    if (!options.isGate) report.refusals.clear();
}

/// The first message of the engine about the value.
std::string messageAbout(const JSONValue& value, const JSONObject& document) {
    const auto messages = Schema(JSONObject(document), stoppingFormats()).validate(value).errors();
    return messages && !messages->empty() ? messages->front() : "";
}

std::string shortened(std::string text, std::size_t longest) {
    if (text.size() <= longest) return text;
    text.resize(longest);
    return withValidUTF8(std::move(text)) + "...";
}

std::string asText(const Report& report) {
    std::string text;
    for (const auto& pair : report.pairs) {
        const auto& comparison = pair.comparison;
        if (comparison.differences.empty() && comparison.change == Change::none) continue;
        text += labelOf(*pair.after);
        if (pair.isNewVersion) text += ", after " + labelOf(*pair.before);
        text.append(": ").append(changeName(comparison.change)) += '\n';
        for (const auto& each : comparison.differences) {
            text += "  " + (each.property.empty() ? "the event" : each.property) + ": " +
                    each.reason + " (";
            text.append(changeName(each.change)) += ")\n";
        }
        const auto show = [&](const char* title, const JSONValue& value,
                              const JSONObject& refusing) {
            text.append("  ").append(title) += ": " + shortened(value.text(), 2000) + "\n    " +
                                               shortened(messageAbout(value, refusing), 300) + '\n';
        };
        if (comparison.onlyOld)
            show("was valid, is refused now", *comparison.onlyOld, *pair.after->document);
        if (comparison.onlyNew)
            show("was refused, is valid now", *comparison.onlyNew, *pair.before->document);
    }
    for (const auto& name : report.added)
        text += name + ": added\n";
    for (const auto& name : report.removed)
        text += name + ": removed\n";
    if (text.empty()) text = "no differences\n";
    for (const auto& refusal : report.refusals)
        text += "refused: " + refusal + '\n';
    return text;
}

JSONArray listOfTexts(const std::vector<std::string>& texts) {
    JSONArray list;
    for (const auto& each : texts)
        list.push_back(each);
    return list;
}

std::string asJSON(const Report& report) {
    JSONArray schemas;
    for (const auto& pair : report.pairs) {
        const auto& comparison = pair.comparison;
        JSONArray differences;
        for (const auto& each : comparison.differences) {
            differences.push_back(JSONObject{{"property", each.property},
                                             {"pointer", each.pointer},
                                             {"change", changeName(each.change)},
                                             {"reason", each.reason}});
        }
        JSONObject schema{{"old", pair.before->path},
                          {"new", pair.after->path},
                          {"isNewVersion", pair.isNewVersion},
                          {"change", changeName(comparison.change)},
                          {"differences", std::move(differences)}};
        if (comparison.onlyOld) {
            schema.set("onlyOld", *comparison.onlyOld);
            schema.set("message", messageAbout(*comparison.onlyOld, *pair.after->document));
        }
        if (comparison.onlyNew) schema.set("onlyNew", *comparison.onlyNew);
        schemas.push_back(std::move(schema));
    }
    const JSONValue whole = JSONObject{{"schemas", std::move(schemas)},
                                       {"added", listOfTexts(report.added)},
                                       {"removed", listOfTexts(report.removed)},
                                       {"refused", listOfTexts(report.refusals)}};
    return whole.text() + '\n';
}

int run(const Options& options) {
    const auto isFile = [](const std::string& path) {
        std::error_code error;
        return !std::filesystem::is_directory(path, error);
    };
    const bool areFiles = isFile(options.before) && isFile(options.after);
    const auto before = read(options.before, areFiles);
    const auto after = read(options.after, areFiles);
    auto report = match(before, after, areFiles);
    judge(report, options);
    writeFile("-", options.format == "json" ? asJSON(report) : asText(report));
    return report.refusals.empty() ? exitClean : exitFindings;
}

}  // namespace

void addDiff(commandline::Command& program, int& exitCode) {
    const auto options = std::make_shared<Options>();
    auto command = program.subcommand("diff", "What changed, and whether valid events stay valid",
                                      details, [options, &exitCode] { exitCode = run(*options); });
    command.option("OLD", &options->before, "FILE|DIR", "The schemas before the change").required();
    command.option("NEW", &options->after, "FILE|DIR", "The schemas after the change").required();
    addChoice(command, "--format", options->format, {"text", "json"}, "text or json");
    command.flag("--gate", options->isGate, "Refuse what breaks senders of events");
    command
        .flag("--allow-unknown", options->allowsUnknown,
              "With --gate: accept changes that could not be decided")
        .needs("--gate");
}

}  // namespace zentara::schemas
