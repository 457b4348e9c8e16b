// What the sanitizers are to make of the Objective-C runtime and of GNUstep, which are not compiled
// for them. What our own code does is looked at all the same, the objects that it makes included.

#import "Harness.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/lsan_interface.h>
#define HAS_LEAK_CHECKER
#endif
#endif

// The runtime's tables of classes and selectors, which it allocates nothing else with.
const char *__lsan_default_suppressions(void) {
    return "leak:objc_malloc\n"
           "leak:class_copyMethodList\n";
}

// Stacks through the runtime cannot be walked the fast way, and suppressions need them.
const char *__asan_default_options(void) {
    return "fast_unwind_on_malloc=0";
}

// GNUstep takes two of its own locks in either order.
const char *__tsan_default_suppressions(void) {
    return "deadlock:libgnustep-base.so\n";
}

void initializeFoundation(void) {
#if defined(HAS_LEAK_CHECKER)
    __lsan_disable();
    @autoreleasepool {
        [[NSArray array] description];
        [[NSDictionary dictionary] description];
        [[NSDecimalNumber decimalNumberWithString:@"1"] description];
    }
    __lsan_enable();
#endif
}
