// The Blocks runtime for GCC's Objective-C runtime. The packaged ones cannot be used: one never
// copies the blocks of current compilers, the other does not retain the objects that they capture,
// and in neither is a block an object.
//
// The compiler defines the layout of blocks and of shared variables.

#import <Foundation/Foundation.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <objc/blocks_runtime.h>
#import "facade/objc/Runtime.h"

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

@interface ZentaraStackBlock : ZentaraBlock
@end

@interface ZentaraGlobalBlock : ZentaraBlock
@end

@interface ZentaraMallocBlock : ZentaraBlock
@end

// The compiler makes each block an object of the class at one of these symbols. The classes have
// other names, because the runtime initialises a class in place.
__asm__(".globl _NSConcreteStackBlock\n"
        ".set _NSConcreteStackBlock, _OBJC_CLASS_ZentaraStackBlock\n"
        ".globl _NSConcreteGlobalBlock\n"
        ".set _NSConcreteGlobalBlock, _OBJC_CLASS_ZentaraGlobalBlock\n"
        ".globl _NSConcreteMallocBlock\n"
        ".set _NSConcreteMallocBlock, _OBJC_CLASS_ZentaraMallocBlock\n");
extern char _NSConcreteMallocBlock;

static void *allocate(size_t size) {
    void *memory = malloc(size);
    if (memory == NULL) abort();
    return memory;
}

static bool isOnHeap(const Block *block) {
    return (block->flags & needsFree) != 0;
}

static void *copyBlock(const void *source) {
    // Only the reference count changes, which is not part of the block's value.
    Block *block = (Block *)(uintptr_t)source;
    if (block == NULL || (block->flags & isGlobal) != 0) return block;
    if (isOnHeap(block)) {
        __atomic_add_fetch(&block->references, 1, __ATOMIC_RELAXED);
        return block;
    }
    Block *copy = allocate(block->descriptor->size);
    memcpy(copy, block, block->descriptor->size);
    copy->isa = &_NSConcreteMallocBlock;
    copy->flags |= needsFree;
    copy->references = 1;
    if ((copy->flags & hasCopyAndDispose) != 0) copy->descriptor->copy(copy, block);
    return copy;
}

static void releaseBlock(const void *source) {
    Block *block = (Block *)(uintptr_t)source;
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
        *(void **)destination = copyBlock(source);
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
        releaseBlock(source);
    } else {
        [object release];
    }
}

void *_Block_copy(const void *block) {
    return copyBlock(block);
}

void _Block_release(const void *block) {
    releaseBlock(block);
}

id zentaraCopyBlock(id block) {
    return copyBlock(block);
}

void zentaraReleaseBlock(id block) {
    releaseBlock(block);
}

@implementation ZentaraBlock

- (id)copy {
    return copyBlock(self);
}

- (id)copyWithZone:(NSZone *)zone {
    (void)zone;
    return copyBlock(self);
}

- (id)retain {
    return isOnHeap((const Block *)self) ? copyBlock(self) : self;
}

- (oneway void)release {
    releaseBlock(self);
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

@implementation ZentaraStackBlock
@end

@implementation ZentaraGlobalBlock
@end

@implementation ZentaraMallocBlock
@end
