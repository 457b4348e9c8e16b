#include "schemas/Validators.h"

#include "schemas/Format.h"
#include "schemas/ValidationRun.h"

namespace zentara {

ValidationResult validate(const JSONValue& value, const JSONObject& schema) {
    // What a Schema record picks out of the document is not read here, so none is built.
    return ValidationRun(schema, standardFormats()).run(value);
}

}  // namespace zentara
