// The Blocks runtime for GCC's Objective-C runtime. Neither packaged runtime works: GNUstep's never
// copies the blocks of current compilers, libBlocksRuntime does not retain the objects that they
// capture, and in neither is a block an object.
//
// The compiler defines the layout of blocks and of shared variables.

#import <Foundation/Foundation.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <objc/blocks_runtime.h>
#import "facade/objc/Internal.h"

enum {
    needsFree = 1 << 24,
    hasCopyAndDispose = 1 << 25,
    isGlobal = 1 << 28,
};

// What a captured variable is.
enum {
    fieldIsBlock = 7,
    fieldIsShared = 8,
    calledFromShared = 128,
};

typedef struct BlockDescriptor {
    unsigned long reserved;
    unsigned long size;
    void (*copy)(void *destination, const void *source);
    void (*dispose)(const void *block);
} BlockDescriptor;

typedef struct Block {
    void *isa;
    int flags;
    int references;  // of a block on the heap; the compiler leaves the field to the runtime
    void (*invoke)(void);
    const BlockDescriptor *descriptor;
} Block;

/// A variable marked __block. It moves to the heap with the first block that refers to it.
typedef struct SharedVariable {
    intptr_t references;  // of a variable on the heap; would be a class, which is never read
    struct SharedVariable *forwarding;
    int flags;
    int size;
    void (*copy)(struct SharedVariable *destination, struct SharedVariable *source);
    void (*dispose)(struct SharedVariable *variable);
} SharedVariable;

@interface ZentaraBlock : NSObject
@end

// The compiler makes each block an object of the class at one of these symbols. The runtime
// initialises a class in place, so they are the class itself.
__asm__(".globl _NSConcreteStackBlock\n"
        ".set _NSConcreteStackBlock, _OBJC_CLASS_ZentaraBlock\n"
        ".globl _NSConcreteGlobalBlock\n"
        ".set _NSConcreteGlobalBlock, _OBJC_CLASS_ZentaraBlock\n"
        ".globl _NSConcreteMallocBlock\n"
        ".set _NSConcreteMallocBlock, _OBJC_CLASS_ZentaraBlock\n");

static void *allocate(size_t size) {
    void *memory = malloc(size);
    if (memory == NULL) abort();
    return memory;
}

static bool isOnHeap(const Block *block) {
    return (block->flags & needsFree) != 0;
}

id zentaraCopyBlock(id source) {
    Block *block = (Block *)source;
    if (block == NULL || (block->flags & isGlobal) != 0) return source;
    if (isOnHeap(block)) {
        __atomic_add_fetch(&block->references, 1, __ATOMIC_RELAXED);
        return source;
    }
    Block *copy = allocate(block->descriptor->size);
    memcpy(copy, block, block->descriptor->size);
    copy->flags |= needsFree;
    copy->references = 1;
    if ((copy->flags & hasCopyAndDispose) != 0) copy->descriptor->copy(copy, block);
    return (id)copy;
}

void zentaraReleaseBlock(id source) {
    Block *block = (Block *)source;
    if (block == NULL || !isOnHeap(block)) return;
    if (__atomic_sub_fetch(&block->references, 1, __ATOMIC_ACQ_REL) != 0) return;
    if ((block->flags & hasCopyAndDispose) != 0) block->descriptor->dispose(block);
    free(block);
}

static SharedVariable *copyShared(SharedVariable *source) {
    SharedVariable *variable = source->forwarding;
    if ((variable->flags & needsFree) != 0) {
        __atomic_add_fetch(&variable->references, 1, __ATOMIC_RELAXED);
        return variable;
    }
    SharedVariable *copy = allocate((size_t)variable->size);
    memcpy(copy, variable, (size_t)variable->size);
    copy->flags |= needsFree;
    // One for the block, one for the scope that declares the variable.
    copy->references = 2;
    copy->forwarding = copy;
    variable->forwarding = copy;
    if ((copy->flags & hasCopyAndDispose) != 0) copy->copy(copy, variable);
    return copy;
}

static void releaseShared(SharedVariable *source) {
    SharedVariable *variable = source->forwarding;
    if ((variable->flags & needsFree) == 0) return;
    if (__atomic_sub_fetch(&variable->references, 1, __ATOMIC_ACQ_REL) != 0) return;
    if ((variable->flags & hasCopyAndDispose) != 0) variable->dispose(variable);
    free(variable);
}

void _Block_object_assign(void *destination, const void *source, const int flags) {
    id object = (id)(uintptr_t)source;
    if ((flags & fieldIsShared) != 0) {
        *(void **)destination = copyShared((SharedVariable *)object);
    } else if ((flags & calledFromShared) != 0) {
        // Without reference counting by the compiler a __block variable retains nothing.
        *(id *)destination = object;
    } else if ((flags & fieldIsBlock) == fieldIsBlock) {
        *(id *)destination = zentaraCopyBlock(object);
    } else {
        *(id *)destination = [object retain];
    }
}

void _Block_object_dispose(const void *source, const int flags) {
    id object = (id)(uintptr_t)source;
    if ((flags & fieldIsShared) != 0) {
        releaseShared((SharedVariable *)object);
    } else if ((flags & calledFromShared) != 0) {
        return;
    } else if ((flags & fieldIsBlock) == fieldIsBlock) {
        zentaraReleaseBlock(object);
    } else {
        [object release];
    }
}

void *_Block_copy(const void *block) {
    return zentaraCopyBlock((id)(uintptr_t)block);
}

void _Block_release(const void *block) {
    zentaraReleaseBlock((id)(uintptr_t)block);
}

@implementation ZentaraBlock

- (id)copyWithZone:(NSZone *)zone {
    (void)zone;
    return zentaraCopyBlock(self);
}

- (id)retain {
    return isOnHeap((const Block *)self) ? zentaraCopyBlock(self) : self;
}

- (oneway void)release {
    zentaraReleaseBlock(self);
}

- (id)autorelease {
    return isOnHeap((const Block *)self) ? [super autorelease] : self;
}

- (NSUInteger)retainCount {
    const Block *block = (const Block *)self;
    if (!isOnHeap(block)) return NSUIntegerMax;
    return (NSUInteger)__atomic_load_n(&block->references, __ATOMIC_RELAXED);
}

@end
