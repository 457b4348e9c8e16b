#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zentara::collector {

/// A key that occurs twice in one object of a JSON text, where readers differ in which one they
/// take; nothing when there is none. `json` is known to be well-formed.
[[nodiscard]] std::optional<std::string> repeatedKey(std::string_view json);

}  // namespace zentara::collector
