#include "schemas/commands/Commands.h"

namespace zentara::schemas {

void addCheck(CLI::App& /*app*/, int& /*exitCode*/) {}

}  // namespace zentara::schemas
