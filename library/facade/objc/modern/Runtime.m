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

/// Only with the class locked.
static NSMapTable *objects(void) {
    static NSMapTable *table;
    if (table == nil) table = [[NSMapTable strongToWeakObjectsMapTable] retain];
    return table;
}

QVNZentaraClient *zentaraClientObject(const void *identity, QVNZentaraClient * (^make)(void)) {
    @autoreleasepool {
        NSValue *key = [NSValue valueWithPointer:identity];
        @synchronized([QVNZentaraClient class]) {
            QVNZentaraClient *object = [[objects() objectForKey:key] retain];
            if (object == nil) {
                object = make();
                [objects() setObject:object forKey:key];
            }
            return object;
        }
    }
}

void zentaraAddClientObject(const void *identity, QVNZentaraClient *object) {
    @autoreleasepool {
        @synchronized([QVNZentaraClient class]) {
            [objects() setObject:object forKey:[NSValue valueWithPointer:identity]];
        }
    }
}
