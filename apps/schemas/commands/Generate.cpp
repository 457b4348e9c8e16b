#include <algorithm>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "schemas/commands/Commands.h"
#include "schemas/commands/CommonOptions.h"
#include "schemas/files/SchemaFile.h"
#include "schemas/generate/Generators.h"
#include "schemas/types/EventType.h"
#include "schemas/types/Names.h"

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

/// The scope as the generator of the language takes it.
std::string scopeIn(const std::string& language, const std::string& scope) {
    if (language == "python" && !scope.empty())
        throw CommandError("--scope: a module of Python has no scope; --name names it");
    if (scope.empty()) return language == "cpp" ? "events" : "";
    if (language == "objc" ? !isIdentifier(scope) : !isScope(scope)) {
        throw CommandError(
            "--scope: " + scope + " is no " +
            (language == "objc" ? "prefix such as SHP" : "name such as shop::events"));
    }
    if (language != "c") return scope;
    std::string prefix;
    for (const auto& part : partsOf(scope))
        prefix += part + (part.ends_with('_') ? "" : "_");
    return prefix;
}

int run(Options options) {
    auto& names = options.names;
    if (!isIdentifier(names.file))
        throw CommandError("--name: " + names.file + " is no identifier");
    names.scope = scopeIn(options.language, names.scope);
    if (reportFaults(readSchemas(options.schemas))) return exitFindings;
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

void addGenerate(commandline::Command& program, int& exitCode) {
    const auto options = std::make_shared<Options>();
    auto command = program.subcommand(
        "generate", "Writes types for events, so that a wrong event does not compile.", details,
        [options, &exitCode] { exitCode = run(*options); });
    std::vector<std::string> known;
    for (const auto& language : languages)
        known.emplace_back(language.name);
    command.option("--language", &options->language, "LANGUAGE", "cpp, c, objc or python")
        .oneOf(known)
        .required();
    addSchemas(command, options->schemas, "--schemas");
    command
        .option("--output-dir", &options->outputFolder, "DIR",
                "Where the files are written; made if need be")
        .required();
    command.option("--name", &options->names.file, "NAME", "The name of the files").showDefault();
    command.option("--scope", &options->names.scope, "NAME",
                   "What the names are in, or begin with (cpp: events by default)");
}

}  // namespace zentara::schemas
