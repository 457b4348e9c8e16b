#include "schemas/SchemaValidator.h"

#include <utility>

namespace zentara {

SchemaValidation SchemaValidator::validate(const JSONValue& properties,
                                           const Schema& schema) const {
    auto messages = schema.validate(properties).errors();
    if (!messages) return {};
    SchemaValidation refused{false, std::vector<ValidationError>()};
    refused.errors->reserve(messages->size());
    for (auto& message : *messages)
        refused.errors->emplace_back(std::move(message));
    return refused;
}

}  // namespace zentara
