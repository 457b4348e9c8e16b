#import <zentara/QVNHostApplication.h>

#import "facade/objc/Internal.h"

@implementation QVNHostApplication

+ (void)setBundleIdentifier:(NSString *)identifier {
    @autoreleasepool {
        zentaraSetBundleIdentifier(zentaraText(identifier));
    }
}

+ (void)setDocumentsDirectory:(NSString *)path {
    @autoreleasepool {
        zentaraSetDocumentsDirectory(zentaraText(path));
    }
}

+ (void)setPreferencesDirectory:(NSString *)path {
    @autoreleasepool {
        zentaraSetPreferencesDirectory(zentaraText(path));
    }
}

@end
