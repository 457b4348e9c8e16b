#include "schemas/commands/Commands.h"

namespace zentara::schemas {

void addBundle(CLI::App& /*app*/, int& /*exitCode*/) {}

}  // namespace zentara::schemas
