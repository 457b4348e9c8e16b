#pragma once

#include <atomic>
#include <cstdint>

#include "support/Clocks.h"

namespace zentara::test {

struct ManualControlTime final : ControlTimeProtocol {
    std::atomic<std::uint64_t> value = 50'000'000;
    std::uint64_t currentMonotonicValue() const override { return value; }
};

}  // namespace zentara::test
