#pragma once

#include <utility>
#include <vector>

#include "schemas/check/Check.h"
#include "schemas/files/SchemaFile.h"

namespace zentara::schemas {

/// A schema and what `check` finds in it.
struct CheckedSchema {
    SchemaFile file;
    std::vector<Finding> findings;

    explicit CheckedSchema(SchemaFile schema) : file(std::move(schema)), findings(check(file)) {}
};

}  // namespace zentara::schemas
