#pragma once

#include <cstddef>
#include <cstdint>

namespace zentara::fuzz {

/// Changes an input whose lines are JSON documents in place: half of the time its bytes, and half
/// of the time its values, so that the result is JSON again. Values move between the documents of
/// an input. Returns the new size, at most `capacity`.
std::size_t mutateJSON(std::uint8_t* data, std::size_t size, std::size_t capacity,
                       unsigned int seed);

}  // namespace zentara::fuzz

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t capacity);
