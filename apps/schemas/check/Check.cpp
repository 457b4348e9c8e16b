#include "schemas/check/Check.h"

#include <filesystem>
#include <string>

#include "json/JSONParser.h"
#include "schemas/check/Checker.h"
#include "schemas/check/FindingList.h"

namespace zentara::schemas {

namespace {

void addReadError(const SourceMap& map, FindingList& findings) {
    if (const auto& error = map.error()) {
        findings.add(RuleName::notJSON, "", error->position,
                     "The library reads no schema here: " + error->reason + '.',
                     "Correct the text at this place.");
    } else if (const auto& place = map.tooDeep()) {
        findings.add(RuleName::tooDeep, "", *place,
                     "The library reads no schema that nests deeper than " +
                         std::to_string(deepestSchema) + " levels.",
                     "Move inner schemas to \"definitions\", and refer to them.");
    } else {
        findings.add(RuleName::notAnObject, "", "The library takes only an object as a schema.",
                     "Write an object, such as {\"type\": \"object\"}.");
    }
}

}  // namespace

std::vector<Finding> check(const SchemaFile& schema) {
    const SourceMap map(schema.text);
    FindingList findings(map);
    for (const auto& repeated : map.repeatedKeys()) {
        findings.add(RuleName::repeatedKey, repeated.pointer, repeated.last,
                     "The key is repeated: only this value counts, not the value of line " +
                         std::to_string(repeated.first.line) + ", column " +
                         std::to_string(repeated.first.column) + '.',
                     "Remove or rename one of them.");
    }
    if (schema.document) {
        Checker(*schema.document, findings).run();
    } else {
        addReadError(map, findings);
    }
    if (!schema.name) {
        findings.add(RuleName::fileName, "", {1, 1},
                     "The name of the file is not {id}-{version}.json, so no event names it.",
                     "Name it such as add-to-cart-1.json.");
    }
    return findings.take();
}

}  // namespace zentara::schemas
