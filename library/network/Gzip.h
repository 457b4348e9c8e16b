#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zentara {

/// Far below the size that zlib takes in one piece.
inline constexpr std::size_t longestToGzip = std::size_t{1} << 30;

/// At most `longestToGzip` bytes in the gzip format, as "Content-Encoding: gzip" has it. Throws
/// `std::bad_alloc` without memory.
[[nodiscard]] std::string gzip(std::string_view bytes);

}  // namespace zentara
