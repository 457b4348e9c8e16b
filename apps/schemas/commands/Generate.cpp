#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "schemas/check/Check.h"
#include "schemas/check/Report.h"
#include "schemas/commands/Commands.h"
#include "schemas/files/SchemaFile.h"
#include "schemas/generate/Generators.h"
#include "schemas/types/EventType.h"
#include "support/ASCII.h"

namespace zentara::schemas {

namespace {

constexpr const char* details = R"(Writes these files:
  cpp     NAME.h, whose types are in the namespace --scope
  c       NAME.h, whose names begin with --scope: shop_events_
  objc    NAME.h and NAME.m, whose classes begin with --scope: SHP
  python  NAME.py

The same schemas give the same files; a file that would not change is not touched. Schemas with
faults are refused, as "zentara-schemas check" reports them.

Exit codes: 0 the files are as the schemas say; 1 a schema has faults; 2 the command line or a file
is invalid, or names cannot be told apart. Except with 0, no file is touched.

Example: zentara-schemas generate --language cpp --schemas schemas --scope shop::events \
             --output-dir generated)";

struct Options {
    std::string language;
    std::vector<std::string> schemas;
    std::string outputFolder;
    GeneratedNames names;
};

struct Language {
    std::string_view name;
    std::vector<GeneratedFile> (*generate)(std::span<const EventType>, const GeneratedNames&);
};
constexpr Language languages[] = {
    {"cpp", generateCpp},
    {"c", generateC},
    {"objc", generateObjC},
    {"python", generatePython},
};

bool isIdentifier(std::string_view text) {
    const auto isPart = [](char character) {
        return isLetter(character) || isDigit(character) || character == '_';
    };
    return !text.empty() && !isDigit(text.front()) && std::all_of(text.begin(), text.end(), isPart);
}

/// The identifiers between "::".
std::vector<std::string> partsOf(std::string_view scope) {
    std::vector<std::string> parts;
    for (auto end = scope.find("::"); end != std::string_view::npos; end = scope.find("::")) {
        parts.emplace_back(scope.substr(0, end));
        scope.remove_prefix(end + 2);
    }
    parts.emplace_back(scope);
    return parts;
}

/// The scope as the generator of the language takes it.
std::string scopeIn(const std::string& language, const std::string& scope) {
    if (language == "python" && !scope.empty())
        throw CommandError("--scope: a module of Python has no scope; --name names it");
    if (scope.empty()) return language == "cpp" ? "events" : "";
    const auto parts = partsOf(scope);
    const bool mayHaveParts = language != "objc" || parts.size() == 1;
    if (!mayHaveParts || !std::all_of(parts.begin(), parts.end(), isIdentifier)) {
        throw CommandError(
            "--scope: " + scope + " is no " +
            (language == "objc" ? "prefix such as SHP" : "name such as shop::events"));
    }
    if (language != "c") return scope;
    std::string prefix;
    for (const auto& part : parts)
        prefix += part + (part.ends_with('_') ? "" : "_");
    return prefix;
}

/// The reports of those schemas that have faults.
std::vector<CheckedFile> faultsIn(const std::vector<std::string>& paths) {
    std::vector<CheckedFile> faulty;
    for (const auto& schema : readSchemas(paths)) {
        auto findings = check(schema);
        std::erase_if(findings, [](const Finding& each) { return !each.isFault(); });
        if (!findings.empty()) faulty.push_back({schema.path, std::move(findings)});
    }
    return faulty;
}

int run(Options options) {
    auto& names = options.names;
    if (!isIdentifier(names.file))
        throw CommandError("--name: " + names.file + " is no identifier");
    names.scope = scopeIn(options.language, names.scope);
    if (const auto faulty = faultsIn(options.schemas); !faulty.empty()) {
        std::cerr << textReport(faulty);
        return exitFindings;
    }
    const auto schemas = readValidSchemas(options.schemas);
    const auto events = eventTypesOf(schemas);
    const auto* const language =
        std::find_if(std::begin(languages), std::end(languages),
                     [&](const Language& each) { return each.name == options.language; });
    const auto files = language->generate(events, names);

    std::error_code error;
    std::filesystem::create_directories(options.outputFolder, error);
    if (error) throw CommandError(options.outputFolder + ": cannot be made: " + error.message());
    for (const auto& file : files)
        writeFile(std::filesystem::path(options.outputFolder) / file.name, file.content);
    return exitClean;
}

}  // namespace

void addGenerate(CLI::App& app, int& exitCode) {
    auto* const command =
        app.add_subcommand("generate",
                           "Writes types for events, so that a wrong event does not "
                           "compile.");
    command->footer(details);
    const auto options = std::make_shared<Options>();
    std::vector<std::string> known;
    for (const auto& language : languages)
        known.emplace_back(language.name);
    command->add_option("--language", options->language, "cpp, c, objc or python")
        ->type_name("LANGUAGE")
        ->check(CLI::IsMember(known).description(""))
        ->required();
    command
        ->add_option("--schemas", options->schemas,
                     "Schemas, {id}-{version}.json, and folders of them")
        ->type_name("FILE|DIR")
        ->required();
    command
        ->add_option("--output-dir", options->outputFolder,
                     "Where the files are written; made if need be")
        ->type_name("DIR")
        ->required();
    command->add_option("--name", options->names.file, "The name of the files")
        ->type_name("NAME")
        ->capture_default_str();
    command
        ->add_option("--scope", options->names.scope,
                     "What the names are in, or begin with (cpp: events by default)")
        ->type_name("NAME");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace zentara::schemas
