#include "Allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::int64_t count = 0;

}  // namespace

std::int64_t zentara::bench::allocations() noexcept {
    return count;
}

// The other forms of new and delete call these.
void* operator new(std::size_t size) {
    ++count;
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
