#import "facade/objc/ClientObjects.h"

// For runtimes with weak references: an object that is being released is not found any more.

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
