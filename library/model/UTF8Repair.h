#pragma once

#include <string>

#include "platform/JSONValue.h"

namespace zentara {

/// `text` with ill-formed UTF-8 replaced by U+FFFD.
[[nodiscard]] std::string withValidUTF8(std::string text);

/// The same for every string and key in `object`. Sound objects, the usual case, are passed
/// through untouched. Members nested deeper than any document may be are left as they are.
[[nodiscard]] JSONObject withValidUTF8(JSONObject object);

}  // namespace zentara
