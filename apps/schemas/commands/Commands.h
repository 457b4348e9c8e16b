#pragma once

#include "commandline/CommandLine.h"

namespace zentara::schemas {

/// The exit codes of every command.
inline constexpr int exitClean = 0;
inline constexpr int exitFindings = 1;  ///< faults were found, or a change is refused
inline constexpr int exitUsage = 2;  ///< wrong arguments, or a file that cannot be read or written

// Each adds a command with its options. Parsing the command line then carries it out and sets
// `exitCode`; throws `CommandError`.
void addCheck(commandline::Command& program, int& exitCode);
void addDiff(commandline::Command& program, int& exitCode);
void addCatalogue(commandline::Command& program, int& exitCode);
void addSample(commandline::Command& program, int& exitCode);
void addBundle(commandline::Command& program, int& exitCode);
void addGenerate(commandline::Command& program, int& exitCode);

}  // namespace zentara::schemas
