#pragma once

namespace CLI {
class App;
}  // namespace CLI

namespace zentara::schemas {

/// The exit codes of every command.
inline constexpr int exitClean = 0;
inline constexpr int exitFindings = 1;  ///< faults were found, or a change is refused
inline constexpr int exitUsage = 2;  ///< wrong arguments, or a file that cannot be read or written

// Each adds a command with its options. Parsing the command line then carries it out and sets
// `exitCode`; throws `CommandError`.
void addCheck(CLI::App& app, int& exitCode);
void addDiff(CLI::App& app, int& exitCode);
void addCatalogue(CLI::App& app, int& exitCode);
void addSample(CLI::App& app, int& exitCode);
void addBundle(CLI::App& app, int& exitCode);
void addGenerate(CLI::App& app, int& exitCode);

}  // namespace zentara::schemas
