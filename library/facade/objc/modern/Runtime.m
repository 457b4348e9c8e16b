#import "facade/objc/Internal.h"

// For runtimes with blocks and weak references. A weak table does not find an object whose last
// release has begun.

extern void *_Block_copy(const void *block);
extern void _Block_release(const void *block);

id zentaraCopyBlock(id block) {
    return block == nil ? nil : (id)_Block_copy(block);
}

void zentaraReleaseBlock(id block) {
    if (block != nil) _Block_release(block);
}

QVNZentaraClient *zentaraClientObject(const void *identity, QVNZentaraClient * (^make)(void)) {
    static NSMapTable *objects;
    @autoreleasepool {
        NSValue *key = [NSValue valueWithPointer:identity];
        @synchronized([QVNZentaraClient class]) {
            if (objects == nil) objects = [[NSMapTable strongToWeakObjectsMapTable] retain];
            QVNZentaraClient *object = [[objects objectForKey:key] retain];
            if (object == nil) {
                object = make();
                [objects setObject:object forKey:key];
            }
            return object;
        }
    }
}
