#pragma once

#include "schemas/SchemaValidatorProtocol.h"

namespace zentara {

/// Checks properties with `zentara::validate`.
class SchemaValidator final : public SchemaValidatorProtocol {
  public:
    SchemaValidation validate(const JSONValue& properties, const JSONObject& schema) const override;
};

}  // namespace zentara
