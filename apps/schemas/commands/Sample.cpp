#include "schemas/commands/Commands.h"

namespace zentara::schemas {

void addSample(CLI::App& /*app*/, int& /*exitCode*/) {}

}  // namespace zentara::schemas
