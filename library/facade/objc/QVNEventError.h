#import <Foundation/Foundation.h>

#import <zentara/QVNDefinitions.h>

NS_ASSUME_NONNULL_BEGIN

/// The domain of the library's own errors: @"ZentaraClient".
ZENTARA_OBJC_EXPORT NSString *const ZentaraClientErrorDomain;

/// The domain of the error for use before the settings, of code 1 and without a message.
ZENTARA_OBJC_EXPORT NSString *const ZentaraClientNotConfiguredErrorDomain;

/// The domain of the error for an invalid argument, such as a token type of 3. Its code is 1, and
/// its message names the argument.
ZENTARA_OBJC_EXPORT NSString *const ZentaraClientInvalidArgumentErrorDomain;

/// The codes of the library's errors. Codes tell groups apart; classes tell errors apart, because
/// several classes share `EventErrorCodeNotQueued`.
typedef NS_ENUM(NSInteger, EventErrorCode) {
    EventErrorCodeNotInitialized = 0,
    EventErrorCodeNotReady = 1,
    EventErrorCodeInvalidData = 2,
    EventErrorCodeUnknown = 3,
    EventErrorCodeNotQueued = 4,
};

/// Base of the failures that blocks receive: domain @"ZentaraClient", an `EventErrorCode`, and the
/// message under `NSLocalizedDescriptionKey` as the only entry of the user info.
///
/// An application can make errors of the base class with `initWithDomain:code:userInfo:`. For the
/// subclasses this initialiser is a fatal error. The initialiser from an archive is a fatal error
/// for all classes.
ZENTARA_SWIFT_NAME("ZentaraClientError")
@interface QVNZentaraClientError : NSError
@end

/// An event was sent before `+[QVNZentaraClient useSettingsWithTenant:...]`, or through a client
/// that was made with `init`.
ZENTARA_SWIFT_NAME("ZentaraClientNotInitializedError")
@interface QVNZentaraClientNotInitializedError : QVNZentaraClientError
- (instancetype)init;
@end

/// An event was sent before the schemas had arrived. The message says what became of it.
ZENTARA_SWIFT_NAME("ZentaraClientNotReady")
@interface QVNZentaraClientNotReady : QVNZentaraClientError
- (instancetype)initWithDetail:(NSString *)detail;
- (instancetype)init __attribute__((unavailable("use initWithDetail:")));
@end

/// An event's properties do not satisfy its schema. The message lists the reasons.
ZENTARA_SWIFT_NAME("InvalidDataForSpecifiedSchemaError")
@interface QVNInvalidDataForSpecifiedSchemaError : QVNZentaraClientError
- (instancetype)initWithDetail:(NSString *)detail;
- (instancetype)init __attribute__((unavailable("use initWithDetail:")));
@end

/// An event could not be validated, for example because its schema is not known.
ZENTARA_SWIFT_NAME("UnknownError")
@interface QVNUnknownError : QVNZentaraClientError
- (instancetype)init;
@end

/// An event could not be stored, or holds what JSON cannot.
ZENTARA_SWIFT_NAME("EventNotQueuedError")
@interface QVNEventNotQueuedError : QVNZentaraClientError
- (instancetype)init;
@end

/// An event was sent while the user's consent is denied.
ZENTARA_SWIFT_NAME("ConsentDeniedError")
@interface QVNConsentDeniedError : QVNZentaraClientError
- (instancetype)init;
@end

/// The before-queue block has dropped an event.
ZENTARA_SWIFT_NAME("EventDroppedError")
@interface QVNEventDroppedError : QVNZentaraClientError
- (instancetype)init;
@end

/// The before-queue block has raised an exception. The message names it.
ZENTARA_SWIFT_NAME("BeforeQueueError")
@interface QVNBeforeQueueError : QVNZentaraClientError
- (instancetype)initWithDetail:(NSString *)detail;
- (instancetype)init __attribute__((unavailable("use initWithDetail:")));
@end

/// An event was sent after the shutdown.
ZENTARA_SWIFT_NAME("ClientShutDownError")
@interface QVNClientShutDownError : QVNZentaraClientError
- (instancetype)init;
@end

/// The schemas could not be obtained.
ZENTARA_SWIFT_NAME("SchemasInitializationError")
@interface QVNSchemasInitializationError : QVNZentaraClientError
- (instancetype)init;
@end

NS_ASSUME_NONNULL_END
