#pragma once

#include <optional>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/ValidationError.h"

namespace zentara {

/// Whether an event's properties fit their schema, and if not, why: one error per message.
struct [[nodiscard]] SchemaValidation {
    bool isValid = true;
    std::optional<std::vector<ValidationError>> errors;  ///< absent exactly when valid
};

/// Checks an event's properties against the schema document of the event.
class SchemaValidatorProtocol {
  public:
    virtual ~SchemaValidatorProtocol() = default;

    /// `properties` holds an object. May be called from any thread.
    virtual SchemaValidation validate(const JSONValue& properties,
                                      const JSONObject& schema) const = 0;

  protected:
    SchemaValidatorProtocol() = default;
    SchemaValidatorProtocol(const SchemaValidatorProtocol&) = default;
    SchemaValidatorProtocol& operator=(const SchemaValidatorProtocol&) = default;
};

}  // namespace zentara
