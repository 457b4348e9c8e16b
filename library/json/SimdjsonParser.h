#pragma once

#include <simdjson.h>

#include <cstddef>

namespace zentara {

/// Allocates what `parser` needs to read a text of `size` bytes. Safe while the process exits, when
/// the parser itself would use objects that are already destroyed. Throws `std::bad_alloc`. False
/// when the text is too long for the parser.
[[nodiscard]] bool allocateParser(simdjson::ondemand::parser& parser, std::size_t size);

}  // namespace zentara
