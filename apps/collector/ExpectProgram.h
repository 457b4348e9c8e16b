#pragma once

namespace zentara::collector {

/// Replaces this process by the program of the subcommand, which gets `arguments`. Returns an exit
/// code if that fails, with a message on standard error.
///
/// A program of its own, so that the collector does not load curl at each start.
[[nodiscard]] int becomeExpectProgram(char** arguments);

}  // namespace zentara::collector
