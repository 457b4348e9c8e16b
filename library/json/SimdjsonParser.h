#pragma once

#include <simdjson.h>

#include <cstddef>

namespace zentara {

/// Gives `parser` what reading a text of `size` bytes takes, also while the process ends: a parser
/// that makes its own memory then could use objects that are destroyed already. Throws
/// `std::bad_alloc`. False when the text is larger than the parser reads.
[[nodiscard]] bool allocateParser(simdjson::ondemand::parser& parser, std::size_t size);

}  // namespace zentara
