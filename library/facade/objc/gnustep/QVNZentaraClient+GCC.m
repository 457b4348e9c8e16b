#import "facade/objc/Internal.h"

#import <objc/runtime.h>
#include <pthread.h>

// GCC's runtime has no weak references. Instead, each release that could be the last of an object
// takes the mutex of the table.
static NSMapTable *objects;
static pthread_mutex_t objectsMutex = PTHREAD_MUTEX_INITIALIZER;

QVNZentaraClient *zentaraClientObject(const void *identity, QVNZentaraClient * (^make)(void)) {
    pthread_mutex_lock(&objectsMutex);
    if (objects == nil) {
        objects = NSCreateMapTable(NSNonOwnedPointerMapKeyCallBacks,
                                   NSNonOwnedPointerMapValueCallBacks, 1);
    }
    QVNZentaraClient *object = [(QVNZentaraClient *)NSMapGet(objects, identity) retain];
    if (object == nil) {
        object = make();
        NSMapInsert(objects, identity, object);
    }
    pthread_mutex_unlock(&objectsMutex);
    return object;
}

@implementation QVNZentaraClient (References)

- (oneway void)release {
    if (_client == NULL) {
        // Not initialised, so it is not in the table.
        [super release];
        return;
    }
    pthread_mutex_lock(&objectsMutex);
    if ([self retainCount] > 1) {
        [super release];
        pthread_mutex_unlock(&objectsMutex);
        return;
    }
    // The table no longer finds the object, so this reference stays the last. It is released
    // without the lock: `dealloc` releases the client and may run code of the application.
    NSMapRemove(objects, zentaraClientIdentity(_client));
    pthread_mutex_unlock(&objectsMutex);
    [super release];
}

@end

// GCC's runtime aborts at the encoding of a block, @?, when Foundation makes a method signature,
// for example for an invocation or a key path. These signatures have objects in place of blocks.

static NSMethodSignature *signatureWithoutBlocks(Method method) {
    if (method == NULL) return nil;
    const char *encoding = method_getTypeEncoding(method);
    if (strstr(encoding, "@?") == NULL) return nil;
    NSMutableString *types = [NSMutableString stringWithUTF8String:encoding];
    [types replaceOccurrencesOfString:@"@?"
                           withString:@"@"
                              options:0
                                range:NSMakeRange(0, [types length])];
    return [NSMethodSignature signatureWithObjCTypes:[types UTF8String]];
}

@implementation QVNZentaraClient (Signatures)

+ (NSMethodSignature *)instanceMethodSignatureForSelector:(SEL)selector {
    NSMethodSignature *found = signatureWithoutBlocks(class_getInstanceMethod(self, selector));
    return found != nil ? found : [super instanceMethodSignatureForSelector:selector];
}

+ (NSMethodSignature *)methodSignatureForSelector:(SEL)selector {
    NSMethodSignature *found = signatureWithoutBlocks(class_getClassMethod(self, selector));
    return found != nil ? found : [super methodSignatureForSelector:selector];
}

- (NSMethodSignature *)methodSignatureForSelector:(SEL)selector {
    return [[self class] instanceMethodSignatureForSelector:selector];
}

@end
