#pragma once

#include <string>

#include "json/JSONValue.h"

namespace zentara {

/// `text` with ill-formed UTF-8 replaced by U+FFFD.
[[nodiscard]] std::string withValidUTF8(std::string text);

/// `object` for the library to keep: every string and key is valid UTF-8, and nothing in it refers
/// to memory that belongs to the caller. An object that is so already, the usual case, is passed
/// through untouched. In others, what is nested deeper than any document may be is cut off one
/// level below that, where it is still too deep to be taken for a document.
[[nodiscard]] JSONObject ownedAndValid(JSONObject object);

}  // namespace zentara
