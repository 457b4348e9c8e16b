#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json/JSONText.h"
#include "schemas/commands/Commands.h"
#include "schemas/commands/CommonOptions.h"
#include "schemas/files/SchemaFile.h"
#include "schemas/generate/CppNames.h"

namespace zentara::schemas {

namespace {

constexpr const char* details =
    R"(A table is one JSON object with the key "{id}-{version}" for each schema, as the schemas service
answers it. A cache is a list of that table: named zentara-schemas-storage in the documents folder
of an application, it makes the library ready at its first start without a network.
A header holds a table for C++: the constant "schemas", a std::string_view, in the namespace --scope.
zentara_embed_schemas of CMake compiles it into an application.

The same schemas give the same bytes. Exit codes: 0 written; 1 a schema has faults, nothing is written
without --force; 2 wrong arguments, a file that is no schema, or a file that cannot be read or written.

Example: zentara-schemas bundle schemas/ --as cache --output zentara-schemas-storage)";

struct Options {
    std::vector<std::string> paths;
    std::string form = "table";
    std::string scope;
    std::string output;
    bool isForced = false;
};

/// A number of a schema may be beyond what JSON text can hold.
void append(std::string& text, const SchemaFile& schema, std::size_t deepest) {
    appendJSONString(text, schema.name->key());
    text += ':';
    if (!appendJSON(text, *schema.document, deepest))
        throw CommandError(schema.path + ": a number is too large, or it is nested too deep");
}

/// A line for each schema, in the order of their names.
std::string tableOf(const std::vector<SchemaFile>& schemas, std::size_t deepest) {
    std::map<std::string, const SchemaFile*> sorted;
    for (const auto& schema : schemas)
        sorted.emplace(schema.name->key(), &schema);
    std::string text = "{";
    for (const auto& [key, schema] : sorted) {
        text += text.size() > 1 ? ",\n" : "\n";
        append(text, *schema, deepest);
    }
    return text + "\n}";
}

/// A line of the table for each line of source.
std::string headerOf(const std::string& table, const std::string& scope) {
    std::string text =
        "// Made by zentara-schemas bundle.\n"
        "#pragma once\n\n"
        "#include <string_view>\n\n";
    if (!scope.empty()) text += "namespace " + scope + " {\n\n";
    text +=
        "#ifdef __clang__\n"
        "#pragma clang diagnostic push\n"
        "#pragma clang diagnostic ignored \"-Woverlength-strings\"\n"
        "#endif\n"
        "/// The table of schemas, for `ZentaraClient::setBundledSchemas`.\n"
        "inline constexpr std::string_view schemas(\n    \"";
    for (const char letter : table) {
        if (letter == '"' || letter == '\\') text += '\\';
        text += letter == '\n' ? std::string_view("\"\n    \"") : std::string_view(&letter, 1);
    }
    const auto lines = static_cast<std::size_t>(std::count(table.begin(), table.end(), '\n'));
    text += "\",\n    " + std::to_string(table.size() - lines) +
            ");\n"
            "#ifdef __clang__\n"
            "#pragma clang diagnostic pop\n"
            "#endif\n";
    if (!scope.empty()) text += "\n}  // namespace " + scope + '\n';
    return text;
}

int bundle(const Options& options) {
    static_cast<void>(cppNamespace({.file = "", .scope = options.scope}));
    const auto schemas = readValidSchemas(options.paths);
    if (!options.isForced && reportFaults(schemas)) return exitFindings;
    // The library reads so many levels, the table and the list among them.
    const bool isCache = options.form == "cache";
    auto table = tableOf(schemas, maximumJSONDepth - (isCache ? 2 : 1));
    if (isCache) table = '[' + table + ']';
    writeFile(options.output,
              options.form == "header" ? headerOf(table, options.scope) : table + '\n');
    return exitClean;
}

}  // namespace

void addBundle(commandline::Command& program, int& exitCode) {
    const auto options = std::make_shared<Options>();
    auto command = program.subcommand(
        "bundle", "Writes schemas into one file, for an application or a schemas service.", details,
        [options, &exitCode] { exitCode = bundle(*options); });
    addSchemas(command, options->paths);
    addChoice(command, "--as", options->form, {"table", "cache", "header"},
              "table, cache or header");
    command.option("--scope", &options->scope, "NAMESPACE", "The namespace of a header");
    addOutput(command, options->output);
    command.flag("--force", options->isForced, "Also with faults, as check reports them");
}

}  // namespace zentara::schemas
