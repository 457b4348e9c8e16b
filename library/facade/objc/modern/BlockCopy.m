#import "facade/objc/BlockCopy.h"

// For runtimes that bring blocks with them.
extern void *_Block_copy(const void *block);
extern void _Block_release(const void *block);

id zentaraCopyBlock(id block) {
    return block == nil ? nil : (id)_Block_copy(block);
}

void zentaraReleaseBlock(id block) {
    if (block != nil) _Block_release(block);
}
