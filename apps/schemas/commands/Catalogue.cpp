#include "schemas/commands/Commands.h"

namespace zentara::schemas {

void addCatalogue(CLI::App& /*app*/, int& /*exitCode*/) {}

}  // namespace zentara::schemas
