#pragma once

#include <cstdint>

namespace zentara {

/// A number that changes whenever the host replaces one of the facts of `HostApplication`, so that
/// what was derived from them can be kept until then.
[[nodiscard]] std::uint64_t hostFactsGeneration() noexcept;

}  // namespace zentara
