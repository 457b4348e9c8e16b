#import <Foundation/Foundation.h>

#import <zentara/QVNDefinitions.h>

NS_ASSUME_NONNULL_BEGIN

/// What the library knows about the application. Every fact has a default taken from the operating
/// system; the application replaces it before its first
/// `+[QVNZentaraClient getAndReturnError:readyCallback:]`. Any thread.
ZENTARA_SWIFT_NAME("HostApplication")
@interface QVNHostApplication : NSObject

/// Names the application, for example @"com.example.news".
+ (void)setBundleIdentifier:(NSString *)identifier ZENTARA_SWIFT_NAME("setBundleIdentifier(_:)");

/// The path of the directory that holds the queue, the cache and the identity; @"" for the default.
+ (void)setDocumentsDirectory:(NSString *)path ZENTARA_SWIFT_NAME("setDocumentsDirectory(_:)");

/// The path of the directory of the preferences file; @"" for the default.
+ (void)setPreferencesDirectory:(NSString *)path ZENTARA_SWIFT_NAME("setPreferencesDirectory(_:)");

@end

NS_ASSUME_NONNULL_END
