#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zentara::collector {

/// The schemas table made from a folder of files named "{id}-{version}.json".
struct SchemaTable {
    std::string json = "{}";            ///< one object keyed "{id}-{version}"
    std::vector<std::string> keys;      ///< in the order of the table
    std::vector<std::string> problems;  ///< a line for each file that is not in the table
};

/// Reads every ".json" file of `folder`, in alphabetical order. A file that cannot be served is a
/// problem of its own and does not keep the others back. Throws `std::filesystem::filesystem_error`
/// when the folder itself cannot be read.
[[nodiscard]] SchemaTable readSchemaFolder(const std::filesystem::path& folder);

}  // namespace zentara::collector
