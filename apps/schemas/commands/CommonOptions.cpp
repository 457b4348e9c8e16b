#include "schemas/commands/CommonOptions.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <utility>

#include "schemas/check/Report.h"

namespace zentara::schemas {

void addSchemas(CLI::App& command, std::vector<std::string>& paths, const std::string& name) {
    command.add_option(name, paths, "Schemas, {id}-{version}.json, and folders of them")
        ->type_name("FILE|DIR")
        ->required();
}

void addOutput(CLI::App& command, std::string& path) {
    auto* const option =
        command.add_option("--output", path, "Where to write; - for standard output")
            ->type_name("FILE");
    if (path.empty()) {
        option->required();
    } else {
        option->capture_default_str();
    }
}

void addChoice(CLI::App& command, const std::string& name, std::string& chosen,
               const std::vector<std::string>& names, const std::string& description) {
    command.add_option(name, chosen, description)
        ->type_name("NAME")
        ->check(CLI::IsMember(names).description(""))
        ->capture_default_str();
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
