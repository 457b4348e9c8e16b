#pragma once

#include <span>
#include <string>
#include <vector>

#include "commandline/CommandLine.h"
#include "schemas/files/SchemaFile.h"

namespace zentara::schemas {

/// Adds the schemas that a command reads, which are required. `name` may be that of an option.
void addSchemas(commandline::Command& command, std::vector<std::string>& paths,
                const std::string& name = "schemas");

/// Adds "--output", which is required unless `path` has a default.
void addOutput(commandline::Command& command, std::string& path);

/// Adds an option that takes one of the names. `chosen` has the default.
void addChoice(commandline::Command& command, const std::string& name, std::string& chosen,
               const std::vector<std::string>& names, const std::string& description);

/// Prints the faults to standard error, and returns whether there are any.
[[nodiscard]] bool reportFaults(std::span<const SchemaFile> schemas);

}  // namespace zentara::schemas
