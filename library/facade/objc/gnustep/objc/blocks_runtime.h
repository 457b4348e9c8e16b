#pragma once

// GNUstep's headers include this file when blocks are enabled. ZentaraClient's Objective-C library
// defines the functions.

#if defined(__cplusplus)
extern "C" {
#endif

#pragma GCC visibility push(default)

/// A copy of the block on the heap, to be released. A block on the heap is retained instead.
void* _Block_copy(const void* block);
void _Block_release(const void* block);

// Emitted by the compiler for the variables that blocks capture.
void _Block_object_assign(void* destination, const void* object, const int flags);
void _Block_object_dispose(const void* object, const int flags);

#pragma GCC visibility pop

#if defined(__cplusplus)
}
#endif

#ifndef Block_copy
#define Block_copy(block) ((__typeof__(block))_Block_copy((const void*)(block)))
#endif
#ifndef Block_release
#define Block_release(block) _Block_release((const void*)(block))
#endif
