#include "collector/SchemaFolder.h"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <fstream>
#include <sstream>
#include <variant>

#include "collector/JSONText.h"

namespace zentara::collector {

namespace {

struct Problem {
    std::string reason;
};

std::variant<boost::json::value, Problem> readSchema(const std::filesystem::path& file) {
    const std::string name = file.stem().string();
    const auto dash = name.rfind('-');
    if (dash == std::string::npos || dash == 0 || dash + 1 == name.size()) {
        return Problem{"the name is not {id}-{version}.json"};
    }
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    if (!stream.is_open() || text.bad()) return Problem{"the file cannot be read"};

    boost::json::error_code error;
    boost::json::value schema = boost::json::parse(text.str(), error);
    if (error) return Problem{"not JSON: " + error.message()};
    if (!schema.is_object()) return Problem{"a schema is a JSON object"};
    return schema;
}

}  // namespace

SchemaTable readSchemaFolder(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".json") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());

    SchemaTable table;
    std::string members;
    for (const auto& file : files) {
        const auto schema = readSchema(file);
        if (const auto* problem = std::get_if<Problem>(&schema)) {
            table.problems.push_back(file.string() + ": " + problem->reason);
            continue;
        }
        if (!members.empty()) members += ',';
        appendJSONString(members, file.stem().string());
        members += ':';
        appendJSON(members, std::get<boost::json::value>(schema));
        table.keys.push_back(file.stem().string());
    }
    table.json = "{" + members + "}";
    return table;
}

}  // namespace zentara::collector
