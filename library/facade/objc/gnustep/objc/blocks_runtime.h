#pragma once

// What GNUstep's headers look for when blocks are enabled. The functions are those of the
// Objective-C library of ZentaraClient.

#if defined(__cplusplus)
extern "C" {
#endif

#pragma GCC visibility push(default)

/// A block that outlives the call that made it, to be released; the same block, retained, when it
/// is one already.
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
