// For programs whose inputs are lines of JSON.

#include "JSONMutator.h"

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t capacity, unsigned int seed) {
    return zentara::fuzz::mutateJSON(data, size, capacity, seed);
}
