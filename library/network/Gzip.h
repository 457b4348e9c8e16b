#pragma once

#include <string>
#include <string_view>

namespace zentara {

/// `bytes` in the gzip format, as "Content-Encoding: gzip" has it. Throws `std::bad_alloc` without
/// memory.
[[nodiscard]] std::string gzip(std::string_view bytes);

}  // namespace zentara
