#import <zentara/QVNHostApplication.h>

#import "facade/objc/Internal.h"

@implementation QVNHostApplication

+ (void)setBundleIdentifier:(NSString *)identifier {
    @autoreleasepool {
        zentara_set_bundle_identifier(zentaraText(identifier));
    }
}

+ (void)setDocumentsDirectory:(NSString *)path {
    @autoreleasepool {
        zentara_set_documents_directory(zentaraText(path));
    }
}

+ (void)setPreferencesDirectory:(NSString *)path {
    @autoreleasepool {
        zentara_set_preferences_directory(zentaraText(path));
    }
}

@end
