#include "schemas/commands/Commands.h"

namespace zentara::schemas {

void addGenerate(CLI::App& /*app*/, int& /*exitCode*/) {}

}  // namespace zentara::schemas
