#include "schemas/commands/CommonOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <utility>

#include "schemas/check/Report.h"
#include "support/ASCII.h"

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

bool isIdentifier(std::string_view text) {
    const auto isPart = [](char character) {
        return isLetter(character) || isDigit(character) || character == '_';
    };
    return !text.empty() && !isDigit(text.front()) && std::all_of(text.begin(), text.end(), isPart);
}

std::vector<std::string> partsOf(std::string_view scope) {
    std::vector<std::string> parts;
    for (auto end = scope.find("::"); end != std::string_view::npos; end = scope.find("::")) {
        parts.emplace_back(scope.substr(0, end));
        scope.remove_prefix(end + 2);
    }
    parts.emplace_back(scope);
    return parts;
}

bool isScope(std::string_view text) {
    const auto parts = partsOf(text);
    return std::all_of(parts.begin(), parts.end(), isIdentifier);
}

}  // namespace zentara::schemas
