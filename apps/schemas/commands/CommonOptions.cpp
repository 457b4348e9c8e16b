#include "schemas/commands/CommonOptions.h"

#include <iostream>
#include <utility>

#include "schemas/check/Report.h"

namespace zentara::schemas {

void addSchemas(commandline::Command& command, std::vector<std::string>& paths,
                const std::string& name) {
    command.option(name, &paths, "FILE|DIR", "Schemas, {id}-{version}.json, and folders of them")
        .required();
}

void addOutput(commandline::Command& command, std::string& path) {
    auto option =
        command.option("--output", &path, "FILE", "Where to write; - for standard output");
    if (path.empty()) {
        option.required();
    } else {
        option.showDefault();
    }
}

void addChoice(commandline::Command& command, const std::string& name, std::string& chosen,
               const std::vector<std::string>& names, const std::string& description) {
    command.option(name, &chosen, "NAME", description).oneOf(names).showDefault();
}

bool reportFaults(std::span<const SchemaFile> schemas) {
    std::vector<CheckedFile> faulty;
    for (const auto& schema : schemas) {
        auto findings = check(schema);
        std::erase_if(findings, [](const Finding& each) { return !each.isFault(); });
        if (!findings.empty()) faulty.push_back({schema.path, std::move(findings)});
    }
    if (!faulty.empty()) std::cerr << textReport(faulty);
    return !faulty.empty();
}

}  // namespace zentara::schemas
