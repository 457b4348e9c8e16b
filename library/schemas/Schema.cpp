#include "schemas/Schema.h"

#include <string_view>
#include <utility>

#include "schemas/KeywordValues.h"
#include "schemas/ValidationRun.h"

namespace zentara {

namespace {

std::optional<std::string> stringUnder(const JSONObject& document, std::string_view key) {
    const auto* const value = document.find(key);
    if (!value || !value->isString()) return std::nullopt;
    return std::string(value->string());
}

std::vector<Type> declaredTypes(const JSONObject& document) {
    std::vector<Type> types;
    const auto add = [&types](std::string_view name) {
        if (const auto type = typeFromRawValue(name)) types.push_back(*type);
    };
    if (const auto value = document.find("type")) {
        if (const auto name = value->ifString()) add(*name);
        if (const auto* const names = listOfStrings(*value)) {
            for (const auto& name : *names)
                add(name.string());
        }
    }
    return types;
}

}  // namespace

Schema::Schema(JSONObject document)
    : title(stringUnder(document, "title")),
      description(stringUnder(document, "description")),
      type(declaredTypes(document)),
      schema(std::move(document)) {}

ValidationResult Schema::validate(const JSONValue& data) const {
    return ValidationRun(schema, formats).run(data);
}

}  // namespace zentara
