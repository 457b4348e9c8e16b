#include "schemas/SchemaValidator.h"

#include <utility>

#include "schemas/Validators.h"

namespace zentara {

SchemaValidation SchemaValidator::validate(const JSONValue& properties,
                                           const JSONObject& schema) const {
    auto messages = zentara::validate(properties, schema).errors();
    if (!messages) return {};
    SchemaValidation refused{false, std::vector<ValidationError>()};
    refused.errors->reserve(messages->size());
    for (auto& message : *messages)
        refused.errors->emplace_back(std::move(message));
    return refused;
}

}  // namespace zentara
