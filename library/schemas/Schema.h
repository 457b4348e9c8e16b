#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/Format.h"
#include "schemas/Type.h"
#include "schemas/ValidationResult.h"

namespace zentara {

/// One JSON Schema document (the dialect of draft 4) and a few fields picked out of it.
struct Schema {
    explicit Schema(JSONObject document);

    /// As `zentara::validate`, with this document as the root.
    ValidationResult validate(const JSONValue& data) const;

    std::optional<std::string> title;
    std::optional<std::string> description;
    /// The declared types that are known, in the order given, for information only; validation
    /// reads the document.
    std::optional<std::vector<Type>> type;
    std::span<const Format> formats = standardFormats();
    /// The whole document.
    JSONObject schema;
};

}  // namespace zentara
