#import <zentara/QVNZentaraClient.h>

#import <objc/runtime.h>

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
