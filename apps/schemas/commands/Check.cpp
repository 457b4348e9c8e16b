#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "schemas/check/Report.h"
#include "schemas/commands/Commands.h"
#include "schemas/commands/CommonOptions.h"
#include "schemas/files/SchemaFile.h"

namespace zentara::schemas {

namespace {

constexpr const char* details =
    R"(A fault is what makes the engine refuse every value that reaches it, or end the process; a warning
is what it ignores or treats otherwise than it looks. Each has a number, which docs/schemas.md
explains, the place, the reason, and what to write instead.

Exit codes: 0 nothing was found (without --strict: no fault); 1 something was found; 2 the command
line is wrong, or a file cannot be read or written.

Example: zentara-schemas check --strict schemas/)";

using Report = std::string (*)(std::span<const CheckedFile>);

struct CheckOptions {
    std::vector<std::string> paths;
    std::string format = "text";
    std::string output = "-";
    bool isStrict = false;
};

int runCheck(const CheckOptions& options) {
    static const std::map<std::string, Report> reports = {
        {"text", &textReport}, {"json", &jsonReport}, {"sarif", &sarifReport}};
    std::vector<CheckedFile> files;
    for (const auto& schema : readSchemas(options.paths))
        files.push_back({schema.path, check(schema)});
    writeFile(options.output, reports.at(options.format)(files));
    const auto counts = countOf(files);
    return counts.faults + (options.isStrict ? counts.warnings : 0) == 0 ? exitClean : exitFindings;
}

}  // namespace

void addCheck(commandline::Command& program, int& exitCode) {
    const auto options = std::make_shared<CheckOptions>();
    auto command =
        program.subcommand("check", "Tells what the engine will make of schemas", details,
                           [options, &exitCode] { exitCode = runCheck(*options); });
    addSchemas(command, options->paths);
    command.flag("--strict", options->isStrict, "Exit with 1 for warnings, too");
    addChoice(command, "--format", options->format, {"text", "json", "sarif"},
              "text, json or sarif (2.1.0)");
    addOutput(command, options->output);
}

}  // namespace zentara::schemas
