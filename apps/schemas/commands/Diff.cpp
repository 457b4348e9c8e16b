#include "schemas/commands/Commands.h"

namespace zentara::schemas {

void addDiff(CLI::App& /*app*/, int& /*exitCode*/) {}

}  // namespace zentara::schemas
