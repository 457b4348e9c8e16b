#pragma once

#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONValue.h"

namespace zentara::schemas {

/// What a schema is called: by its file name without ".json", or by its key in a table.
struct SchemaName {
    std::string id;
    std::string version;

    [[nodiscard]] std::string key() const { return id + '-' + version; }
    friend bool operator==(const SchemaName&, const SchemaName&) = default;
};

/// Nothing if the text is not "{id}-{version}". The version begins behind the last dash.
[[nodiscard]] std::optional<SchemaName> schemaNamed(std::string_view text);

/// The order of names: by id, then by version. Numbers in versions compare by their value: "9" is
/// before "10", and "1.2" before "1.10".
[[nodiscard]] bool isEarlier(const SchemaName& one, const SchemaName& other);

/// A schema as it was read. Of a text that the library would not take as a schema, the document is
/// absent; `check` tells why.
struct SchemaFile {
    std::string path;  ///< for messages
    std::optional<SchemaName> name;
    std::string text;
    std::optional<JSONObject> document;

    /// The path of a file names the schema.
    [[nodiscard]] static SchemaFile fromText(std::string path, std::string text);
};

/// A command cannot do what is asked of it: a file that cannot be read or written, or wrong
/// arguments. Ends the program with exit code 2.
class CommandError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The schemas of files and folders, sorted by path within a folder. Of a folder, the files whose
/// names end in ".json" and do not begin with a dot. Throws `CommandError` when there is no such
/// file or folder, when one cannot be read, when there is no schema at all, and beyond 10,000 files
/// or 64 MB.
[[nodiscard]] std::vector<SchemaFile> readSchemas(std::span<const std::string> paths);

/// The same, for commands that need every schema: throws `CommandError` also for a file that is no
/// schema, is not named "{id}-{version}.json", or has the name of another.
[[nodiscard]] std::vector<SchemaFile> readValidSchemas(std::span<const std::string> paths);

/// Replaces the whole file, or leaves it as it was and throws `CommandError`. A file that has this
/// content already is not touched. "-" is standard output.
void writeFile(const std::string& path, std::string_view content);

}  // namespace zentara::schemas
