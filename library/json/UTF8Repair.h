#pragma once

#include <string>

#include "json/JSONValue.h"

namespace zentara {

/// `text` with ill-formed UTF-8 replaced by U+FFFD.
[[nodiscard]] std::string withValidUTF8(std::string text);

/// The same for all texts and keys in `object`; of keys that become equal the last gives the value.
/// What is nested deeper than a document may be is left as it is: it is refused later.
[[nodiscard]] JSONObject withValidUTF8(JSONObject object);

}  // namespace zentara
